// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlSignature.h"

#include "devserver/crypto/Encoding.h"
#include "devserver/documents/CmsSignature.h"
#include "foundation/Handle.h"

#include <libxml/c14n.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <xmlsec/crypto.h>
#include <xmlsec/errors.h>
#include <xmlsec/templates.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/xmltree.h>

namespace devserver {

namespace {

struct FreeText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

using Document = Handle<xmlDoc, xmlFreeDoc>;
using Text = std::unique_ptr<xmlChar, FreeText>;

const xmlChar* xmlText(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

std::string stringOf(const xmlChar* text, int length) {
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)};
}

/// The libraries are set up once, and say nothing on standard error.
bool librariesAreReady() {
    static const bool ready = [] {
        xmlInitParser();
        xmlSecErrorsDefaultCallbackEnableOutput(0);
        return xmlSecInit() == 0 && xmlSecCryptoAppInit(nullptr) == 0 && xmlSecCryptoInit() == 0;
    }();
    return ready;
}

Document parsed(std::string_view xml, std::string& error) {
    const Handle<xmlParserCtxt, xmlFreeParserCtxt> parser(xmlNewParserCtxt());
    Document document(xmlCtxtReadMemory(parser.get(), xml.data(), static_cast<int>(xml.size()),
        nullptr, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!document) {
        error = "this is not an XML document";
        const xmlError* const reason = xmlCtxtGetLastError(parser.get());
        if (reason != nullptr && reason->message != nullptr) {
            std::string words = reason->message;
            words.erase(words.find_last_not_of('\n') + 1);
            error += ": line " + std::to_string(reason->line) + ": " + words;
        }
    }
    return document;
}

xmlNode* childOf(xmlNode* node, const char* name) {
    return xmlSecFindNode(node, xmlText(name), xmlSecDSigNs);
}

/// Whether a node is the subtree's root or stands in it. A namespace is asked about with its
/// element as the parent.
int isInSubtree(void* root, xmlNode* node, xmlNode* parent) {
    const xmlNode* at = node->type == XML_NAMESPACE_DECL ? parent : node;
    while (at != nullptr && at != root) {
        at = at->parent;
    }
    return at != nullptr ? 1 : 0;
}

void ignoreError(void*, xmlError*) {
}

/// Exclusive canonicalisation without comments, of the whole document or of one subtree.
std::optional<std::string> canonical(xmlDoc* document, xmlNode* subtree) {
    const Handle<xmlOutputBuffer, xmlOutputBufferClose> buffer(xmlAllocOutputBuffer(nullptr));
    xmlSetStructuredErrorFunc(nullptr, ignoreError); // of this thread; the default prints
    if (!buffer
        || xmlC14NExecute(document, subtree != nullptr ? isInSubtree : nullptr, subtree,
               XML_C14N_EXCLUSIVE_1_0, nullptr, 0, buffer.get())
            < 0) {
        return std::nullopt;
    }
    return stringOf(xmlOutputBufferGetContent(buffer.get()),
        static_cast<int>(xmlOutputBufferGetSize(buffer.get())));
}

/// A Signature without values, as the root's last child; null on failure.
xmlNode* addTemplate(xmlDoc* document) {
    xmlNode* const signature = xmlSecTmplSignatureCreateNsPref(
        document, xmlSecTransformExclC14NId, xmlSecTransformRsaSha256Id, nullptr, xmlText("ds"));
    if (signature == nullptr) {
        return nullptr;
    }
    xmlAddChild(xmlDocGetRootElement(document), signature);
    xmlNode* const reference = xmlSecTmplSignatureAddReference(
        signature, xmlSecTransformSha256Id, nullptr, xmlText(""), nullptr);
    xmlNode* const keyInfo = xmlSecTmplSignatureEnsureKeyInfo(signature, nullptr);
    xmlNode* const data = keyInfo != nullptr ? xmlSecTmplKeyInfoAddX509Data(keyInfo) : nullptr;
    const bool made = reference != nullptr && data != nullptr
        && xmlSecTmplReferenceAddTransform(reference, xmlSecTransformEnvelopedId) != nullptr
        && xmlSecTmplReferenceAddTransform(reference, xmlSecTransformExclC14NId) != nullptr
        && xmlSecTmplX509DataAddCertificate(data) != nullptr;
    return made ? signature : nullptr;
}

void setBytes(xmlNode* signature, const char* name, std::string_view bytes) {
    xmlNodeSetContent(childOf(signature, name), xmlText(base64Encoded(bytes).c_str()));
}

/// Whether the text's signature is valid, as one who receives it finds out.
bool isValid(std::string_view xml, std::string_view certificateDer) {
    std::string ignored;
    const Document document = parsed(xml, ignored);
    const Handle<xmlSecDSigCtx, xmlSecDSigCtxDestroy> context(xmlSecDSigCtxCreate(nullptr));
    if (!document || !context) {
        return false;
    }
    context->signKey
        = xmlSecCryptoAppKeyLoadMemory(reinterpret_cast<const xmlSecByte*>(certificateDer.data()),
            static_cast<xmlSecSize>(certificateDer.size()), xmlSecKeyDataFormatCertDer, nullptr,
            nullptr, nullptr);
    xmlNode* const signature = childOf(xmlDocGetRootElement(document.get()), "Signature");
    return context->signKey != nullptr && signature != nullptr
        && xmlSecDSigCtxVerify(context.get(), signature) == 0
        && context->status == xmlSecDSigStatusSucceeded;
}

} // namespace

struct XmlSignature::Impl {
    Document document;
    xmlNode* signature = nullptr; // the document's
    std::string signedInfo;
};

XmlSignature::XmlSignature(std::unique_ptr<Impl> impl)
    : m_impl(std::move(impl)) {
}
XmlSignature::XmlSignature(XmlSignature&&) noexcept = default;
XmlSignature& XmlSignature::operator=(XmlSignature&&) noexcept = default;
XmlSignature::~XmlSignature() = default;

const std::string& XmlSignature::signedInfo() const {
    return m_impl->signedInfo;
}

std::optional<XmlSignature> XmlSignature::begin(std::string_view xml, std::string& error) {
    if (!librariesAreReady()) {
        error = "the XML libraries cannot be used";
        return std::nullopt;
    }
    auto impl = std::make_unique<Impl>();
    impl->document = parsed(xml, error);
    xmlDoc* const document = impl->document.get();
    if (document == nullptr) {
        return std::nullopt;
    }
    if (document->intSubset != nullptr) {
        error = "the XML document has a document type; what it means may change where it is read";
        return std::nullopt;
    }
    if (childOf(xmlDocGetRootElement(document), "Signature") != nullptr) {
        error = "the XML document is signed already; another signature would break the first";
        return std::nullopt;
    }
    const std::optional<std::string> content = canonical(document, nullptr);
    impl->signature = content ? addTemplate(document) : nullptr;
    std::optional<std::string> signedInfo;
    if (impl->signature != nullptr) {
        setBytes(impl->signature, "DigestValue", sha256({*content}));
        signedInfo = canonical(document, childOf(impl->signature, "SignedInfo"));
    }
    if (!signedInfo) {
        error = "the XML document cannot be canonicalised";
        return std::nullopt;
    }
    impl->signedInfo = std::move(*signedInfo);
    return XmlSignature(std::move(impl));
}

std::optional<std::string> XmlSignature::complete(
    std::string_view signature, std::string_view certificateDer, std::string& error) {
    setBytes(m_impl->signature, "SignatureValue", signature);
    setBytes(m_impl->signature, "X509Certificate", certificateDer);
    xmlChar* bytes = nullptr;
    int length = 0;
    xmlDocDumpMemoryEnc(m_impl->document.get(), &bytes, &length, "UTF-8");
    const Text owner(bytes);
    std::string xml = bytes != nullptr ? stringOf(bytes, length) : "";
    if (!isValid(xml, certificateDer)) {
        error = "the signature that came back is not one of the signed-info sent, by the "
                "certificate's key";
        return std::nullopt;
    }
    return xml;
}

} // namespace devserver
