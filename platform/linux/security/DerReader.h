// SPDX-License-Identifier: MIT
// Reads DER (X.690) element by element.
#pragma once

#include "platform/Types.h"

#include <optional>

namespace platform {

struct DerElement {
    int tag = 0; ///< number of the type within its class
    bool isUniversal = false;
    bool isConstructed = false;
    BytesView content;
    BytesView all; ///< identifier and length included
};

/// The views are into the bytes that the reader was made from.
class DerReader {
public:
    explicit DerReader(BytesView der)
        : m_rest(der) { }

    bool atEnd() const { return m_rest.empty(); }

    /// The next element; nothing at the end, or when it is broken.
    std::optional<DerElement> read();
    /// The next element, when it is of this universal type.
    std::optional<DerElement> read(int tag);
    /// The next element, when it is constructed and has this context-specific tag; nothing, and the
    /// reader stays where it is, otherwise.
    std::optional<DerElement> readContext(int tag);

private:
    BytesView m_rest;
};

} // namespace platform
