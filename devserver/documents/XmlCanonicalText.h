// SPDX-License-Identifier: MIT
// Exclusive canonicalisation without comments (Exclusive XML Canonicalization 1.0), from the events
// of a parser, into a SHA-256 digest.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace devserver {

struct XmlName {
    std::string space; // the namespace's name
    std::string local;
    std::string prefix;

    std::string text() const { return prefix.empty() ? local : prefix + ":" + local; }
};

struct XmlAttribute {
    XmlName name;
    std::string value;
};

class XmlCanonicalText {
public:
    XmlCanonicalText();
    ~XmlCanonicalText();

    void startElement(const XmlName& name, std::vector<XmlAttribute> attributes);
    void endElement();
    void text(std::string_view text);
    void instruction(std::string_view target, std::string_view data);
    /// The 32 bytes of the digest, once.
    std::string digest();

private:
    void write(std::string_view text);
    void flush();
    /// Writes the declaration if the prefix does not mean that already.
    void declare(const std::string& prefix, const std::string& space);

    struct Element {
        std::string name;
        std::vector<std::string> declared; // prefixes
    };
    struct Digest;

    std::unique_ptr<Digest> m_digest;
    std::string m_buffer;
    std::vector<Element> m_open;
    std::map<std::string, std::vector<std::string>> m_spaces; // declared, the innermost last
    bool m_isBehindRoot = false;
};

} // namespace devserver
