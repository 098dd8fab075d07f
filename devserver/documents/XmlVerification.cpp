// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlVerification.h"

#include "foundation/Handle.h"

#include <vector>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/valid.h>
#include <openssl/err.h>
#include <xmlsec/crypto.h>
#include <xmlsec/errors.h>
#include <xmlsec/transforms.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/xmltree.h>

namespace devserver {

namespace {

using Document = Handle<xmlDoc, xmlFreeDoc>;
using Text = Handle<xmlChar, [](xmlChar* text) { xmlFree(text); }>;

const xmlChar* xmlText(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
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

void ignoreError(void*, xmlError*) {
}

Document parsed(std::string_view xml) {
    return Document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

/// The next element in document order.
xmlNode* following(xmlNode* node) {
    if (node->children != nullptr) {
        return node->children;
    }
    while (node != nullptr && node->next == nullptr) {
        node = node->parent;
    }
    return node != nullptr ? node->next : nullptr;
}

bool isIdentifier(const xmlAttr* attribute, const std::string& further) {
    const std::string name = reinterpret_cast<const char*>(attribute->name);
    return name == "Id" || name == "ID" || name == "id" || name == "AssertionID"
        || name == "RequestID" || name == "ResponseID" || (!further.empty() && name == further);
}

void registerIdentifiers(xmlDoc* document, xmlNode* element, const std::string& further) {
    for (xmlAttr* attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (isIdentifier(attribute, further)) {
            const Text value(xmlNodeListGetString(document, attribute->children, 1));
            if (value && xmlGetID(document, value.get()) == nullptr) {
                xmlAddID(nullptr, document, value.get(), attribute);
            }
        }
    }
}

bool isValid(xmlSecKeysMngr* keys, xmlNode* signature) {
    const Handle<xmlSecDSigCtx, xmlSecDSigCtxDestroy> context(xmlSecDSigCtxCreate(keys));
    if (!context) {
        return false;
    }
    const xmlSecTransformUriType within
        = xmlSecTransformUriTypeEmpty | xmlSecTransformUriTypeSameDocument;
    context->enabledReferenceUris = within;
    context->keyInfoReadCtx.retrievalMethodCtx.enabledUris = within;
    context->keyInfoReadCtx.flags |= XMLSEC_KEYINFO_FLAGS_X509DATA_DONT_VERIFY_CERTS;
    for (const xmlSecTransformId transform : {xmlSecTransformEnvelopedId, xmlSecTransformInclC14NId,
             xmlSecTransformExclC14NId, xmlSecTransformInclC14NWithCommentsId,
             xmlSecTransformExclC14NWithCommentsId, xmlSecTransformInclC14N11Id,
             xmlSecTransformBase64Id, xmlSecTransformXPathId, xmlSecTransformXPath2Id}) {
        xmlSecDSigCtxEnableReferenceTransform(context.get(), transform);
    }
    for (const xmlSecTransformId digest : {xmlSecTransformSha1Id, xmlSecTransformSha224Id,
             xmlSecTransformSha256Id, xmlSecTransformSha384Id, xmlSecTransformSha512Id}) {
        xmlSecDSigCtxEnableReferenceTransform(context.get(), digest);
    }
    return xmlSecDSigCtxVerify(context.get(), signature) == 0
        && context->status == xmlSecDSigStatusSucceeded;
}

} // namespace

XmlSignatureCount countXmlSignatures(std::string_view xml, const std::string& idAttribute) {
    XmlSignatureCount count;
    if (!librariesAreReady()) {
        return count;
    }
    xmlSetStructuredErrorFunc(nullptr, ignoreError); // of this thread; the default prints
    const Document document = parsed(xml);
    const Handle<xmlSecKeysMngr, xmlSecKeysMngrDestroy> keys(xmlSecKeysMngrCreate());
    if (!document || !keys || xmlSecCryptoAppDefaultKeysMngrInit(keys.get()) != 0) {
        return count;
    }
    std::vector<xmlNode*> signatures;
    for (xmlNode* node = xmlDocGetRootElement(document.get()); node != nullptr;
         node = following(node)) {
        if (node->type == XML_ELEMENT_NODE) {
            registerIdentifiers(document.get(), node, idAttribute);
            if (xmlSecCheckNodeName(node, xmlText("Signature"), xmlSecDSigNs) == 1) {
                signatures.push_back(node);
            }
        }
    }
    for (xmlNode* const signature : signatures) {
        ++count.all;
        count.valid += isValid(keys.get(), signature) ? 1 : 0;
    }
    ERR_clear_error();
    return count;
}

} // namespace devserver
