// SPDX-License-Identifier: MIT
// What document signatures are made over: signed attributes of CMS and SignedInfo elements.
#pragma once

#include "foundation/Bytes.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

/// An element of DER.
inline std::string der(unsigned char tag, const std::string& content) {
    std::string head(1, static_cast<char>(tag));
    if (content.size() < 0x80) {
        head += static_cast<char>(content.size());
    } else if (content.size() < 0x100) {
        head += '\x81';
        head += static_cast<char>(content.size());
    } else {
        head += '\x82';
        head += static_cast<char>(content.size() >> 8);
        head += static_cast<char>(content.size() & 0xFF);
    }
    return head + content;
}

inline std::string oid(const std::string& content) {
    return der(0x06, content);
}

/// The elements in the order that DER prescribes.
inline std::string setOf(std::vector<std::string> elements) {
    std::sort(elements.begin(), elements.end(), [](std::string_view a, std::string_view b) {
        const BytesView left = bytesOf(a);
        const BytesView right = bytesOf(b);
        return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
    });
    std::string content;
    for (const std::string& element : elements) {
        content += element;
    }
    return der(0x31, content);
}

inline std::string attribute(const std::string& type, const std::string& values) {
    return der(0x30, type + der(0x31, values));
}

inline std::string contentTypeOid() {
    return oid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x03");
}
inline std::string messageDigestOid() {
    return oid("\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04");
}
inline std::string contentTypeAttribute() {
    return attribute(contentTypeOid(), oid("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01"));
}
inline std::string messageDigestAttribute(char byte = 'd') {
    return attribute(messageDigestOid(), der(0x04, std::string(32, byte)));
}

/// The least that a PDF signature signs.
inline std::string signedAttributes() {
    return setOf({contentTypeAttribute(), messageDigestAttribute()});
}

/// Of 32 bytes.
inline const std::string digestText = "MDEyMzQ1Njc4OTAxMjM0NTY3ODkwMTIzNDU2Nzg5MDE=";

/// What an XML signature signs, in canonical form.
inline std::string signedInfo(const std::string& prefix = "ds:", int references = 1) {
    const auto element
        = [&](const std::string& name, const std::string& attributes, const std::string& content) {
              return "<" + prefix + name + attributes + ">" + content + "</" + prefix + name + ">";
          };
    const std::string declaration = prefix.empty() ? " xmlns=" : " xmlns:ds=";
    std::string parts = element("CanonicalizationMethod", " Algorithm=\"urn:c\"", "")
        + element("SignatureMethod", " Algorithm=\"urn:m\"", "");
    for (int i = 0; i < references; ++i) {
        parts += element("Reference", " URI=\"\"",
            element("Transforms", "", element("Transform", " Algorithm=\"urn:t\"", ""))
                + element("DigestMethod", " Algorithm=\"urn:d\"", "")
                + element("DigestValue", "", digestText));
    }
    return element("SignedInfo", declaration + "\"http://www.w3.org/2000/09/xmldsig#\"", parts);
}
