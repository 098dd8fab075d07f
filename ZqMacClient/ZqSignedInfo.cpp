// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqSignedInfo.h"

#include "foundation/Base64.h"
#include "foundation/Utf8.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace {

constexpr std::size_t largestText = std::size_t{1} << 20;
constexpr std::size_t deepestNesting = 16;
constexpr std::size_t mostAttributes = 64; // of one element; each is compared with all
constexpr std::string_view signatureNamespace = "http://www.w3.org/2000/09/xmldsig#";
constexpr std::string_view blanks = " \t\n";
constexpr std::string_view nameCharacters
    = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._:";

struct Attribute {
    std::string_view name;
    std::string_view value;
};

struct Element {
    std::string_view name; // with its prefix
    std::vector<Attribute> attributes;
    std::vector<Element> children;
    std::string_view text; // when there are no children
    bool isMixed = false; // text other than blanks beside children
};

/// Reads elements in canonical form (Canonical XML 1.1, section 1.1): start and end tags alone, one
/// blank before each attribute, values in double quotes.
class Reader {
public:
    explicit Reader(std::string_view text)
        : m_rest(text) { }

    std::optional<Element> onlyElement() {
        auto element = readElement(0);
        return m_rest.empty() ? std::move(element) : std::nullopt;
    }

private:
    bool take(std::string_view expected) {
        if (!m_rest.starts_with(expected)) {
            return false;
        }
        m_rest.remove_prefix(expected.size());
        return true;
    }

    std::string_view takeUntil(std::string_view ends) {
        const std::size_t length = std::min(m_rest.find_first_of(ends), m_rest.size());
        const std::string_view taken = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        return taken;
    }

    std::string_view takeName() {
        const std::size_t length
            = std::min(m_rest.find_first_not_of(nameCharacters), m_rest.size());
        const std::string_view name = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        return name;
    }

    bool readAttributes(Element& element) {
        while (take(" ")) {
            Attribute attribute{takeName(), {}};
            if (attribute.name.empty() || !take("=\"")) {
                return false;
            }
            attribute.value = takeUntil("\"");
            const bool isRepeated
                = std::any_of(element.attributes.begin(), element.attributes.end(),
                    [&](const Attribute& other) { return other.name == attribute.name; });
            const bool isOneTooMany = element.attributes.size() == mostAttributes;
            if (!take("\"") || isRepeated || isOneTooMany || !isCanonicalText(attribute.value)) {
                return false;
            }
            element.attributes.push_back(attribute);
        }
        return take(">");
    }

    std::optional<Element> readElement(std::size_t depth) {
        if (depth == deepestNesting || !take("<")) {
            return std::nullopt;
        }
        Element element;
        element.name = takeName();
        if (element.name.empty() || !readAttributes(element)) {
            return std::nullopt;
        }
        while (true) {
            const std::string_view text = takeUntil("<");
            if (!isCanonicalText(text)) {
                return std::nullopt;
            }
            element.isMixed |= text.find_first_not_of(blanks) != std::string_view::npos;
            if (take("</")) {
                element.text = element.children.empty() ? text : std::string_view();
                element.isMixed &= !element.children.empty();
                return take(element.name) && take(">") ? std::optional(std::move(element))
                                                       : std::nullopt;
            }
            auto child = readElement(depth + 1);
            if (!child) {
                return std::nullopt;
            }
            element.children.push_back(*std::move(child));
        }
    }

    /// No character that canonical form writes otherwise, and no references but those it writes.
    static bool isCanonicalText(std::string_view text) {
        if (std::any_of(text.begin(), text.end(), [](char c) {
                return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n';
            })) {
            return false;
        }
        for (std::size_t at = text.find('&'); at != std::string_view::npos;
             at = text.find('&', at + 1)) {
            constexpr std::string_view references[]{
                "&amp;", "&lt;", "&gt;", "&quot;", "&#x9;", "&#xA;", "&#xD;"};
            if (std::none_of(std::begin(references), std::end(references),
                    [&](std::string_view known) { return text.substr(at).starts_with(known); })) {
                return false;
            }
        }
        return text.find_first_of("<") == std::string_view::npos;
    }

    std::string_view m_rest;
};

std::string_view attributeOf(const Element& element, std::string_view name) {
    for (const Attribute& attribute : element.attributes) {
        if (attribute.name == name) {
            return attribute.value;
        }
    }
    return {};
}

/// Elements of XML-Signature under one prefix.
class Vocabulary {
public:
    /// Of a root element that declares the namespace of its own name.
    static std::optional<Vocabulary> of(const Element& root) {
        const std::size_t colon = root.name.find(':');
        const bool hasPrefix = colon != std::string_view::npos;
        const std::string_view prefix = hasPrefix ? root.name.substr(0, colon + 1) : "";
        for (const Attribute& attribute : root.attributes) {
            const bool isDeclaration = hasPrefix ? attribute.name.starts_with("xmlns:")
                    && attribute.name.substr(6) == prefix.substr(0, colon)
                                                 : attribute.name == "xmlns";
            if (isDeclaration && attribute.value == signatureNamespace) {
                return Vocabulary(prefix);
            }
        }
        return std::nullopt;
    }

    bool is(const Element& element, std::string_view localName) const {
        return element.name.starts_with(m_prefix)
            && element.name.substr(m_prefix.size()) == localName;
    }

    /// Parameters, if any, are elements.
    bool isMethod(const Element& element, std::string_view localName) const {
        return is(element, localName) && !attributeOf(element, "Algorithm").empty()
            && !element.isMixed && isBlank(element.text);
    }

    bool isReference(const Element& element) const {
        const auto& parts = element.children;
        const std::size_t first = !parts.empty() && is(parts[0], "Transforms") ? 1 : 0;
        return is(element, "Reference") && !element.isMixed && parts.size() == first + 2
            && isMethod(parts[first], "DigestMethod") && is(parts[first + 1], "DigestValue")
            && parts[first + 1].children.empty() && isDigest(parts[first + 1].text);
    }

private:
    explicit Vocabulary(std::string_view prefix)
        : m_prefix(prefix) { }

    static bool isBlank(std::string_view text) {
        return text.find_first_not_of(blanks) == std::string_view::npos;
    }

    /// Base64, perhaps in lines, of what SHA-1 to SHA-512 give.
    static bool isDigest(std::string_view text) {
        std::string digits(text);
        std::erase_if(digits, [](char c) { return blanks.find(c) != std::string_view::npos; });
        const auto digest = base64Decoded(digits);
        return digest && digest->size() >= 20 && digest->size() <= 64;
    }

    std::string_view m_prefix; // with its colon, or empty
};

} // namespace

bool isSignedInfo(std::string_view text) {
    if (text.size() > largestText || !isUtf8(text)) {
        return false;
    }
    const auto root = Reader(text).onlyElement();
    const auto vocabulary = root ? Vocabulary::of(*root) : std::nullopt;
    if (!vocabulary || !vocabulary->is(*root, "SignedInfo") || root->isMixed
        || root->children.size() < 3) {
        return false;
    }
    const auto& parts = root->children;
    return vocabulary->isMethod(parts[0], "CanonicalizationMethod")
        && vocabulary->isMethod(parts[1], "SignatureMethod")
        && std::all_of(parts.begin() + 2, parts.end(),
            [&](const Element& part) { return vocabulary->isReference(part); });
}
