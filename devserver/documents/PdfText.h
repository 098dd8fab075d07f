// SPDX-License-Identifier: MIT
// The text of PDF objects (ISO 32000-1, 7.2 and 7.3): where its parts stand, so that one can be
// changed while all others stay as they are, to the byte.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace devserver {

/// The name of an indirect object.
struct PdfReference {
    int number = 0;
    int generation = 0;

    std::string text() const;
    friend bool operator==(const PdfReference& a, const PdfReference& b) {
        return a.number == b.number && a.generation == b.generation;
    }
    friend bool operator<(const PdfReference& a, const PdfReference& b) {
        return std::pair(a.number, a.generation) < std::pair(b.number, b.generation);
    }
};

/// The token at `position`, behind blanks and comments, and `position` behind it. Brackets are
/// tokens, strings and names are whole. Empty at the end, and where there is none.
std::string_view pdfToken(std::string_view text, std::size_t& position);

/// The object at `position`, and `position` behind it; empty where there is none that is whole. A
/// reference counts as one.
std::string_view pdfObject(std::string_view text, std::size_t& position);

/// The text that begins with "N G obj" at `position`, which is then behind "obj".
std::optional<PdfReference> pdfObjectHeader(std::string_view text, std::size_t& position);

std::optional<PdfReference> pdfReference(std::string_view object);
std::optional<long long> pdfInteger(std::string_view object);
bool isPdfDictionary(std::string_view object);
bool isPdfArray(std::string_view object);

/// The elements of an array, as they stand; none when it is no array.
using PdfElements = std::vector<std::string_view>;
PdfElements pdfElements(std::string_view array);

/// An array with one more element at its end.
std::string pdfArrayWith(std::string_view array, std::string_view element);

struct PdfEntry {
    std::string key; // with its slash, escapes resolved
    std::string_view writtenKey; // as it stands
    std::string_view value; // as it stands
};

/// The entries of a dictionary in their order; nothing when it is none.
using PdfEntries = std::vector<PdfEntry>;
std::optional<PdfEntries> pdfEntries(std::string_view dictionary);

/// A dictionary with another value under a key that it has once, or with one more entry.
std::string pdfDictionaryWith(
    std::string_view dictionary, const std::string& key, std::string_view value);

/// Bytes as a string object: in words where they are plain, else in hexadecimal digits.
std::string pdfString(std::string_view bytes);
std::string pdfHexadecimal(std::string_view bytes);

} // namespace devserver
