// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlSignature.h"

#include "devserver/crypto/Encoding.h"
#include "devserver/documents/CmsSignature.h"
#include "devserver/documents/XmlVerification.h"

namespace devserver {

namespace {

/// Up to here another library verifies what was signed, although that takes twenty times as much
/// memory, and time that grows with the square of an element's attributes.
constexpr std::size_t verifiedByTreeUpTo = std::size_t{4} << 20;
constexpr std::size_t attributesOfTreeUpTo = 1000;

constexpr std::string_view declaration = " xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"";
constexpr std::string_view exclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";

std::string element(
    const std::string& name, std::string_view attributes, const std::string& content) {
    return "<ds:" + name + std::string(attributes) + ">" + content + "</ds:" + name + ">";
}

std::string algorithm(const std::string& name, std::string_view uri) {
    return element(name, " Algorithm=\"" + std::string(uri) + "\"", "");
}

/// In canonical form.
std::string signedInfoOf(const XmlReading& reading) {
    const std::string uri = reading.id.empty() ? "" : "#" + reading.id;
    return element("SignedInfo", declaration,
        algorithm("CanonicalizationMethod", exclusive)
            + algorithm("SignatureMethod", "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256")
            + element("Reference", " URI=\"" + uri + "\"",
                element("Transforms", "",
                    algorithm("Transform", "http://www.w3.org/2000/09/xmldsig#enveloped-signature")
                        + algorithm("Transform", exclusive))
                    + algorithm("DigestMethod", "http://www.w3.org/2001/04/xmlenc#sha256")
                    + element("DigestValue", "", base64Encoded(reading.digest))));
}

} // namespace

std::optional<XmlSignature> XmlSignature::begin(
    std::string xml, const XmlOptions& options, std::string& error) {
    std::optional<XmlReading> reading = readXml(xml, options, std::nullopt, error);
    if (!reading) {
        return std::nullopt;
    }
    XmlSignature result;
    result.m_xml = std::move(xml);
    result.m_options = options;
    result.m_reading = std::move(*reading);
    result.m_signedInfo = signedInfoOf(result.m_reading);
    if (result.m_reading.isSigned && result.refusesEarlierSignatures(error)) {
        return std::nullopt;
    }
    return result;
}

bool XmlSignature::refusesEarlierSignatures(std::string& error) {
    const XmlSignatureCount before = countXmlSignatures(m_xml, m_options.idAttribute);
    m_earlier = before.all;
    if (before.all == 0 || before.valid < before.all) {
        error = "the XML document holds a signature that is not valid, or cannot be checked; "
                "whether it stays valid cannot be told";
        return true;
    }
    XmlSignature trial = *this;
    trial.insert(elementWith("", ""));
    if (countXmlSignatures(trial.m_xml, m_options.idAttribute).valid < before.valid) {
        error = "the XML document is signed already, and that signature covers the place of the "
                "new one, which would break it";
        return true;
    }
    return false;
}

std::string XmlSignature::elementWith(
    std::string_view signature, std::string_view certificateDer) const {
    std::string info = m_signedInfo;
    info.erase(info.find(declaration), declaration.size()); // the parent has it
    return m_reading.encoded(element("Signature", declaration,
        info + element("SignatureValue", "", base64Encoded(signature))
            + element("KeyInfo", "",
                element("X509Data", "",
                    element("X509Certificate", "", base64Encoded(certificateDer))))));
}

void XmlSignature::insert(const std::string& element) {
    m_xml.reserve(m_xml.size() + element.size() + 2 * m_reading.rootName.size() + 16);
    if (m_reading.rootName.empty()) {
        m_xml.insert(m_reading.position, element);
        return;
    }
    // "<root/>" becomes "<root>...</root>".
    const std::size_t slash = m_reading.position - 2 * m_reading.unit;
    m_xml.replace(slash, 2 * m_reading.unit,
        m_reading.encoded(">") + element + m_reading.encoded("</") + m_reading.rootName
            + m_reading.encoded(">"));
    m_reading.position = slash + m_reading.unit;
}

std::optional<std::string> XmlSignature::complete(
    std::string_view signature, std::string_view certificateDer, std::string& error) {
    if (!isSignedBy(certificateDer, signature, m_signedInfo)) {
        error = "the signature that came back is not one of the signed-info sent, by the "
                "certificate's key";
        return std::nullopt;
    }
    insert(elementWith(signature, certificateDer));
    if (!isAsMeant()) {
        error = "the signed XML document was not as it should be, and is not given out";
        return std::nullopt;
    }
    return std::move(m_xml);
}

/// Whether the document, read again, is what was signed, and all signatures in it are valid.
bool XmlSignature::isAsMeant() const {
    std::string ignored;
    const std::optional<XmlReading> again = readXml(m_xml, m_options, m_reading.position, ignored);
    if (!again || again->digest != m_reading.digest) {
        return false;
    }
    const bool isLarge
        = m_xml.size() > verifiedByTreeUpTo || again->mostAttributes > attributesOfTreeUpTo;
    if (m_earlier == 0 && isLarge) {
        return true;
    }
    const XmlSignatureCount count = countXmlSignatures(m_xml, m_options.idAttribute);
    return count.valid == m_earlier + 1 && count.all == count.valid;
}

} // namespace devserver
