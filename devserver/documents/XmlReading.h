// SPDX-License-Identifier: MIT
// An XML document read once, from beginning to end: its digest, and where a signature can stand.
// Its tree is never held in memory.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// What of a document is signed, and where the Signature goes.
struct XmlOptions {
    std::string idAttribute = {}; // of the root, by which the reference names it; empty: the
                                  // reference is to the whole document
    std::string after = {}; // local name of the root's child behind which the Signature goes
    bool isFirst = false; // or it is the root's first child; else its last
};

struct XmlReading {
    std::string digest; // SHA-256 of what is referred to, in exclusive canonical form
    std::size_t position = 0; // in the text, where the Signature goes
    std::string rootName; // as it stands, if the root is an empty-element tag, which ends at
                          // `position`
    std::string id; // the value of the root's `idAttribute`
    bool isSigned = false; // a Signature stands somewhere
    std::size_t mostAttributes = 0; // of one element
    std::size_t unit = 1; // bytes of an ASCII character
    bool isBigEndian = false;

    /// ASCII text in the encoding of the document.
    std::string encoded(std::string_view ascii) const;
};

/// Nothing, and the reason in `error`, when the text is no XML document, or one that cannot be
/// signed. An element that begins at the offset `without` is taken for absent.
std::optional<XmlReading> readXml(std::string_view xml, const XmlOptions& options,
    std::optional<std::size_t> without, std::string& error);

} // namespace devserver
