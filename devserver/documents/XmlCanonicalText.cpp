// SPDX-License-Identifier: MIT
#include "devserver/documents/XmlCanonicalText.h"

#include "foundation/Handle.h"

#include <algorithm>
#include <tuple>

#include <openssl/evp.h>

namespace devserver {

namespace {

constexpr std::size_t flushedAbove = std::size_t{64} << 10;

/// What stands for a character in a text or, besides, in an attribute's value; empty: itself.
std::string_view escape(char c, bool isAttribute) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '\r':
        return "&#xD;";
    case '>':
        return isAttribute ? "" : "&gt;";
    case '"':
        return isAttribute ? "&quot;" : "";
    case '\t':
        return isAttribute ? "&#x9;" : "";
    case '\n':
        return isAttribute ? "&#xA;" : "";
    default:
        return "";
    }
}

void appendEscaped(std::string& target, std::string_view text, bool isAttribute) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view escaped = escape(text[i], isAttribute);
        if (!escaped.empty()) {
            target.append(text.substr(start, i - start)).append(escaped);
            start = i + 1;
        }
    }
    target.append(text.substr(start));
}

} // namespace

struct XmlCanonicalText::Digest {
    Handle<EVP_MD_CTX, EVP_MD_CTX_free> context{EVP_MD_CTX_new()};
};

XmlCanonicalText::XmlCanonicalText()
    : m_digest(std::make_unique<Digest>()) {
    EVP_DigestInit_ex(m_digest->context.get(), EVP_sha256(), nullptr);
}

XmlCanonicalText::~XmlCanonicalText() = default;

void XmlCanonicalText::startElement(const XmlName& name, std::vector<XmlAttribute> attributes) {
    m_open.push_back({name.text(), {}});
    write("<");
    write(m_open.back().name);
    std::map<std::string, std::string> used{{name.prefix, name.space}};
    for (const XmlAttribute& attribute : attributes) {
        if (!attribute.name.prefix.empty()) {
            used.emplace(attribute.name.prefix, attribute.name.space);
        }
    }
    used.erase("xml"); // never declared
    for (const auto& [prefix, space] : used) {
        declare(prefix, space);
    }
    std::sort(attributes.begin(), attributes.end(), [](const auto& a, const auto& b) {
        return std::tie(a.name.space, a.name.local) < std::tie(b.name.space, b.name.local);
    });
    for (const XmlAttribute& attribute : attributes) {
        write(" ");
        write(attribute.name.text());
        write("=\"");
        appendEscaped(m_buffer, attribute.value, true);
        write("\"");
    }
    write(">");
}

void XmlCanonicalText::declare(const std::string& prefix, const std::string& space) {
    std::vector<std::string>& known = m_spaces[prefix];
    if (known.empty() ? space.empty() : known.back() == space) {
        return;
    }
    known.push_back(space);
    m_open.back().declared.push_back(prefix);
    write(prefix.empty() ? " xmlns=\"" : " xmlns:" + prefix + "=\"");
    appendEscaped(m_buffer, space, true);
    write("\"");
}

void XmlCanonicalText::endElement() {
    write("</");
    write(m_open.back().name);
    write(">");
    for (const std::string& prefix : m_open.back().declared) {
        m_spaces[prefix].pop_back();
    }
    m_open.pop_back();
    m_isBehindRoot = m_open.empty();
}

void XmlCanonicalText::text(std::string_view text) {
    appendEscaped(m_buffer, text, false);
    write("");
}

void XmlCanonicalText::instruction(std::string_view target, std::string_view data) {
    const bool isOutside = m_open.empty();
    write(isOutside && m_isBehindRoot ? "\n<?" : "<?");
    write(target);
    write(data.empty() ? "" : " ");
    write(data);
    write(isOutside && !m_isBehindRoot ? "?>\n" : "?>");
}

std::string XmlCanonicalText::digest() {
    flush();
    std::string result(32, '\0');
    EVP_DigestFinal_ex(
        m_digest->context.get(), reinterpret_cast<unsigned char*>(result.data()), nullptr);
    return result;
}

void XmlCanonicalText::write(std::string_view text) {
    m_buffer += text;
    if (m_buffer.size() > flushedAbove) {
        flush();
    }
}

void XmlCanonicalText::flush() {
    EVP_DigestUpdate(m_digest->context.get(), m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

} // namespace devserver
