// SPDX-License-Identifier: MIT
// The text of an incremental update: objects, a cross-reference section, a trailer
// (ISO 32000-1, 7.5.4 to 7.5.8).
#pragma once

#include "devserver/documents/PdfText.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace devserver {

/// What is appended to a file.
class PdfAppendix {
public:
    /// `start` is where the text will begin, as the file counts offsets.
    explicit PdfAppendix(std::size_t start)
        : m_start(start) { }

    /// Writes an object; where its `text` begins in what is appended.
    std::size_t addObject(PdfReference reference, std::string_view text);
    /// Lists an object that stands where it stood.
    void list(PdfReference reference, std::size_t offset) {
        m_places[reference.number] = {offset, reference.generation, false};
    }
    /// Puts an object (of generation 0) into an object stream, which is written at the end.
    void addToStream(int number, std::string_view text);

    /// How the bytes of the object stream are written (encrypted, say).
    using StreamBytes = std::function<std::string(const std::string&, PdfReference)>;
    /// Writes the object stream, if any, as object `nextNumber`, and the cross-reference section
    /// with the trailer's `entries`, as a table or as a stream, which takes the next number.
    void finish(
        bool isStream, int nextNumber, const std::string& entries, const StreamBytes& bytes);

    std::string& text() { return m_text; }

private:
    struct Place {
        std::size_t offset = 0; // or the object stream's number
        int generation = 0; // or the index in the object stream
        bool isInStream = false;
    };

    void writeObjectStream(int number, const StreamBytes& bytes);
    void writeTable(const std::string& trailer);
    void writeStream(const std::string& trailer, int number);
    template <typename Run>
    void forEachRun(const Run& run) const;

    std::size_t m_start;
    std::string m_text;
    std::map<int, Place> m_places; // by object number
    std::map<int, std::string> m_inStream; // texts by object number
};

} // namespace devserver
