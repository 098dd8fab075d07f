// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlReading.h"

#include "devserver/documents/XmlCanonicalText.h"
#include "devserver/documents/XmlEncoding.h"
#include "foundation/Handle.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include <expat.h>

namespace devserver {

namespace {

constexpr char separator = '\n'; // of the parts of a name; in no namespace's name
constexpr std::string_view signatureSpace = "http://www.w3.org/2000/09/xmldsig#";
constexpr std::size_t chunk = std::size_t{4} << 20;

// What common parsers read (libxml2's limits); a signed document that they do not is of no use.
constexpr std::size_t deepestElement = 256;
constexpr std::size_t longestText = 10'000'000;
constexpr std::size_t longestName = 50'000;

XmlName nameOf(const char* text) {
    const std::string_view whole = text;
    const std::size_t first = whole.find(separator);
    if (first == std::string_view::npos) {
        return {"", std::string(whole), ""};
    }
    const std::size_t second = std::min(whole.find(separator, first + 1), whole.size());
    return {std::string(whole.substr(0, first)),
        std::string(whole.substr(first + 1, second - first - 1)),
        std::string(whole.substr(std::min(second + 1, whole.size())))};
}

/// Whether a namespace's name is a URI with a scheme (RFC 3986, 3); canonical XML knows no other.
bool isAbsoluteUri(std::string_view name) {
    const std::size_t colon = name.find(':');
    return colon != std::string_view::npos && colon > 0
        && std::isalpha(static_cast<unsigned char>(name[0])) != 0
        && std::all_of(name.begin(), name.end(),
            [](char c) { return c > ' ' && c < 0x7F && std::strchr("<>\"{}|\\^`", c) == nullptr; });
}

bool isNameOfXml(std::string_view text) {
    return !text.empty() && std::strchr("-.0123456789", text[0]) == nullptr
        && std::all_of(text.begin(), text.end(), [](char c) {
               return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-'
                   || c == '.' || static_cast<unsigned char>(c) >= 0x80;
           });
}

/// An encoding that the parser does not know by itself.
int unknownEncoding(void*, const char* name, XML_Encoding* encoding) {
    const auto meanings = meaningsOfBytes(name);
    if (!meanings) {
        return XML_STATUS_ERROR;
    }
    std::copy(meanings->begin(), meanings->end(), encoding->map);
    encoding->data = nullptr;
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return XML_STATUS_OK;
}

class Reader {
public:
    Reader(std::string_view xml, const XmlOptions& options, std::optional<std::size_t> without)
        : m_xml(xml)
        , m_options(options)
        , m_without(without)
        , m_parser(XML_ParserCreateNS(nullptr, separator)) {
        XML_SetReturnNSTriplet(m_parser.get(), 1);
        XML_SetUserData(m_parser.get(), this);
        XML_SetElementHandler(
            m_parser.get(),
            [](void* self, const char* name, const char** attributes) {
                static_cast<Reader*>(self)->startElement(name, attributes);
            },
            [](void* self, const char*) { static_cast<Reader*>(self)->endElement(); });
        XML_SetCharacterDataHandler(m_parser.get(), [](void* self, const char* text, int length) {
            static_cast<Reader*>(self)->text({text, static_cast<std::size_t>(length)});
        });
        XML_SetProcessingInstructionHandler(
            m_parser.get(), [](void* self, const char* target, const char* data) {
                static_cast<Reader*>(self)->instruction(target, data);
            });
        XML_SetCommentHandler(m_parser.get(), [](void* self, const char* text) {
            static_cast<Reader*>(self)->checkLength(std::strlen(text));
        });
        XML_SetStartNamespaceDeclHandler(
            m_parser.get(), [](void* self, const char*, const char* name) {
                static_cast<Reader*>(self)->declaration(name != nullptr ? name : "");
            });
        XML_SetStartDoctypeDeclHandler(
            m_parser.get(), [](void* self, const char*, const char*, const char*, int) {
                static_cast<Reader*>(self)->refuse("the XML document has a document type; what it "
                                                   "means may change where it is read");
            });
        XML_SetUnknownEncodingHandler(m_parser.get(), unknownEncoding, nullptr);
    }

    std::optional<XmlReading> run(std::string& error) {
        const std::string_view start = m_xml.substr(0, 2);
        const bool isLittle = start == "\xFF\xFE" || start == std::string_view("<\0", 2);
        m_result.isBigEndian = start == "\xFE\xFF" || start == std::string_view("\0<", 2);
        m_result.unit = isLittle || m_result.isBigEndian ? 2 : 1;
        std::size_t at = 0;
        XML_Status status = XML_STATUS_OK;
        do {
            const std::string_view part = m_xml.substr(at, chunk);
            at += part.size();
            status = XML_Parse(m_parser.get(), part.data(), static_cast<int>(part.size()),
                at == m_xml.size() ? 1 : 0);
        } while (status == XML_STATUS_OK && at < m_xml.size());
        if (m_refusal.empty() && status != XML_STATUS_OK) {
            m_refusal = parserError();
        }
        if (m_refusal.empty() && !m_hasPlace) {
            m_refusal = "the root of the XML document has no child " + m_options.after;
        }
        if (!m_refusal.empty()) {
            error = m_refusal;
            return std::nullopt;
        }
        m_result.digest = m_canonical.digest();
        return std::move(m_result);
    }

private:
    std::string parserError() const {
        const XML_Error code = XML_GetErrorCode(m_parser.get());
        const std::string line
            = "line " + std::to_string(XML_GetCurrentLineNumber(m_parser.get())) + ": ";
        if (code == XML_ERROR_UNBOUND_PREFIX) {
            return "the XML document uses a prefix that is bound to no namespace, in "
                + line.substr(0, line.size() - 2);
        }
        if (code == XML_ERROR_UNKNOWN_ENCODING) {
            return "the XML document's encoding is not supported; UTF-8 is";
        }
        return "this is not an XML document: " + line + XML_ErrorString(code);
    }

    void refuse(const std::string& reason) {
        if (m_refusal.empty()) {
            m_refusal = reason;
            XML_StopParser(m_parser.get(), XML_FALSE);
        }
    }

    void checkLength(std::size_t length) {
        if (length > longestText) {
            refuse("the XML document has a text of more than 10,000,000 bytes in one piece, which "
                   "common parsers refuse");
        }
    }

    std::size_t startOfEvent() const {
        return static_cast<std::size_t>(XML_GetCurrentByteIndex(m_parser.get()));
    }
    std::size_t endOfEvent() const {
        return startOfEvent() + static_cast<std::size_t>(XML_GetCurrentByteCount(m_parser.get()));
    }

    void startElement(const char* text, const char** attributes) {
        ++m_depth;
        m_textLength = 0;
        if (m_depth > deepestElement) {
            refuse("the XML document is nested deeper than 256 elements, which common parsers "
                   "refuse");
        }
        if (m_skippedBelow != 0 || (m_without && *m_without == startOfEvent())) {
            m_skippedBelow = m_skippedBelow != 0 ? m_skippedBelow : m_depth;
            return;
        }
        const XmlName name = nameOf(text);
        m_result.isSigned
            = m_result.isSigned || (name.local == "Signature" && name.space == signatureSpace);
        std::vector<XmlAttribute> list;
        for (; *attributes != nullptr; attributes += 2) {
            list.push_back({nameOf(attributes[0]), attributes[1]});
            checkLength(list.back().value.size());
            checkName(list.back().name.local);
        }
        checkName(name.local);
        m_result.mostAttributes = std::max(m_result.mostAttributes, list.size());
        if (m_depth == 1) {
            startRoot(list);
        } else if (m_depth == 2 && !m_hasPlace && !m_options.after.empty()) {
            m_isPlaceBehind = name.local == m_options.after;
        }
        m_canonical.startElement(name, std::move(list));
    }

    void startRoot(const std::vector<XmlAttribute>& attributes) {
        m_rootStart = startOfEvent();
        if (m_options.isFirst) {
            m_result.position = endOfEvent();
            m_hasPlace = true;
        }
        for (const XmlAttribute& attribute : attributes) {
            if (!m_options.idAttribute.empty() && attribute.name.text() == m_options.idAttribute) {
                m_result.id = attribute.value;
            }
        }
        if (!m_options.idAttribute.empty() && !isNameOfXml(m_result.id)) {
            refuse("the root of the XML document has no attribute " + m_options.idAttribute
                + " with a name in it");
        }
    }

    void endElement() {
        m_textLength = 0;
        if (m_skippedBelow != 0) {
            m_skippedBelow = m_skippedBelow == m_depth ? 0 : m_skippedBelow;
            --m_depth;
            return;
        }
        if (m_depth == 2 && m_isPlaceBehind) {
            m_result.position = endOfEvent();
            m_hasPlace = true;
            m_isPlaceBehind = false;
        }
        if (m_depth == 1) {
            endRoot();
        }
        --m_depth;
        m_canonical.endElement();
    }

    void endRoot() {
        if (m_options.after.empty() && !m_options.isFirst) {
            m_result.position = startOfEvent();
            m_hasPlace = true;
        }
        if (startOfEvent() == endOfEvent()) { // the end of an empty-element tag
            m_result.position = startOfEvent();
            const std::string blanks = " \t\r\n/>";
            const std::size_t unit = m_result.unit;
            std::size_t end = m_rootStart + unit;
            const std::size_t low = m_result.isBigEndian ? 1 : 0; // where ASCII is in a unit
            while (end < m_xml.size()
                && !(blanks.find(m_xml[end + low]) != std::string::npos
                    && (unit == 1 || m_xml[end + 1 - low] == '\0'))) {
                end += unit;
            }
            m_result.rootName = m_xml.substr(m_rootStart + unit, end - m_rootStart - unit);
        }
    }

    void text(std::string_view text) {
        m_textLength += text.size();
        checkLength(m_textLength);
        if (m_skippedBelow == 0) {
            m_canonical.text(text);
        }
    }

    void instruction(const char* target, const char* data) {
        checkLength(std::strlen(data));
        // Outside of the root it belongs to the document, not to the root.
        if (m_skippedBelow == 0 && (m_depth > 0 || m_options.idAttribute.empty())) {
            m_canonical.instruction(target, data);
        }
    }

    void declaration(const std::string& name) {
        if (!name.empty() && !isAbsoluteUri(name)) {
            refuse("the XML document has a namespace of the name \"" + name
                + "\", which is no absolute URI; so it has no canonical form");
        }
    }

    void checkName(const std::string& name) {
        if (name.size() > longestName) {
            refuse("the XML document has a name of more than 50,000 bytes, which common parsers "
                   "refuse");
        }
    }

    std::string_view m_xml;
    const XmlOptions& m_options;
    std::optional<std::size_t> m_without;
    Handle<std::remove_pointer_t<XML_Parser>, XML_ParserFree> m_parser;
    XmlCanonicalText m_canonical;
    XmlReading m_result;
    std::string m_refusal;
    std::size_t m_depth = 0;
    std::size_t m_skippedBelow = 0; // the depth of the element that is taken for absent
    std::size_t m_textLength = 0;
    std::size_t m_rootStart = 0;
    bool m_hasPlace = false;
    bool m_isPlaceBehind = false; // the child that is open
};

} // namespace

std::string XmlReading::encoded(std::string_view ascii) const {
    if (unit == 1) {
        return std::string(ascii);
    }
    std::string text;
    for (const char c : ascii) {
        text += isBigEndian ? '\0' : c;
        text += isBigEndian ? c : '\0';
    }
    return text;
}

std::optional<XmlReading> readXml(std::string_view xml, const XmlOptions& options,
    std::optional<std::size_t> without, std::string& error) {
    return Reader(xml, options, without).run(error);
}

} // namespace devserver
