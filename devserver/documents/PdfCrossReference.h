// SPDX-License-Identifier: MIT
// Where a PDF's objects are listed (ISO 32000-1, 7.5.4 and 7.5.5), and what is forgiven there.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string_view>

namespace devserver {

/// The part of a file that is read as a PDF: from its header, from where all offsets count, to its
/// end mark. Nothing when there is no header near the beginning.
struct PdfExtent {
    std::size_t origin = 0;
    std::string_view bytes;

    static std::optional<PdfExtent> of(std::string_view file);
};

/// The offset that the last "startxref" tells, blanks skipped; nothing when it leads nowhere.
std::optional<std::size_t> startOfCrossReference(std::string_view pdf);

/// Bytes that are read otherwise than they stand, by position, so that this offset is told to the
/// byte, and tables that count from 1, though their first entry is that of object 0, count from 0,
/// which is how all readers take them.
std::map<std::size_t, char> mendedBytes(std::string_view pdf);

/// The dictionary of the table or stream at that offset; empty when there is none.
std::string_view trailerAt(std::string_view pdf, std::size_t offset);

bool isTableAt(std::string_view pdf, std::size_t offset);

} // namespace devserver
