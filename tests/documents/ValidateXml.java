// SPDX-License-Identifier: MIT
// Validates the signature of each XML file that is named on standard input, by Java's own library:
// one line "valid" or "INVALID" and the path each; status 1 when one is not valid.
import java.io.BufferedReader;
import java.io.File;
import java.io.InputStreamReader;
import java.security.Key;
import java.security.cert.X509Certificate;
import javax.xml.crypto.AlgorithmMethod;
import javax.xml.crypto.KeySelector;
import javax.xml.crypto.KeySelectorResult;
import javax.xml.crypto.XMLCryptoContext;
import javax.xml.crypto.dsig.XMLSignatureFactory;
import javax.xml.crypto.dsig.dom.DOMValidateContext;
import javax.xml.crypto.dsig.keyinfo.KeyInfo;
import javax.xml.crypto.dsig.keyinfo.X509Data;
import javax.xml.parsers.DocumentBuilderFactory;
import org.w3c.dom.Document;
import org.w3c.dom.Node;

public class ValidateXml {
    static final String space = "http://www.w3.org/2000/09/xmldsig#";

    static class FirstCertificate extends KeySelector {
        @Override
        public KeySelectorResult select(
            KeyInfo info, Purpose purpose, AlgorithmMethod method, XMLCryptoContext context) {
            for (Object part : info.getContent()) {
                if (part instanceof X509Data) {
                    for (Object entry : ((X509Data) part).getContent()) {
                        if (entry instanceof X509Certificate) {
                            Key key = ((X509Certificate) entry).getPublicKey();
                            return () -> key;
                        }
                    }
                }
            }
            throw new IllegalArgumentException("no certificate");
        }
    }

    static boolean isValid(String path) throws Exception {
        DocumentBuilderFactory documents = DocumentBuilderFactory.newInstance();
        documents.setNamespaceAware(true);
        documents.setAttribute("jdk.xml.elementAttributeLimit", "100000");
        Document document = documents.newDocumentBuilder().parse(new File(path));
        Node signature = document.getElementsByTagNameNS(space, "Signature").item(0);
        DOMValidateContext context = new DOMValidateContext(new FirstCertificate(), signature);
        return XMLSignatureFactory.getInstance("DOM").unmarshalXMLSignature(context).validate(context);
    }

    public static void main(String[] arguments) throws Exception {
        BufferedReader paths = new BufferedReader(new InputStreamReader(System.in));
        int status = 0;
        for (String path = paths.readLine(); path != null; path = paths.readLine()) {
            String verdict = "INVALID";
            try {
                verdict = isValid(path) ? "valid" : verdict;
            } catch (Exception failure) {
                verdict += " (" + failure + ")";
            }
            System.out.println(verdict + "\t" + path);
            status = verdict.equals("valid") ? status : 1;
        }
        System.exit(status);
    }
}
