// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/documents/PdfUpdate.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace devserver {

/// Opens a signed document again, of which the first `originalSize` bytes are the original, and
/// proves that the update did nothing but sign: every other object is where it was, the changed
/// ones differ in the entries that lead to the signature only, and the trailer names all that it
/// named. Throws PdfRefusal when it is not so.
void proveUpdate(std::string_view signedPdf, std::size_t originalSize, const PdfUpdate& update,
    const std::string& password);

} // namespace devserver
