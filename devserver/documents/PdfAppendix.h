// SPDX-License-Identifier: MIT
// The text of an incremental update: objects, a cross-reference section, a trailer
// (ISO 32000-1, 7.5.4 to 7.5.8).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// Where a file's newest cross-reference section is, and of which of the two kinds.
struct CrossReference {
    std::size_t offset = 0;
    bool isStream = false;

    /// Nothing when the file does not end as a PDF does.
    static std::optional<CrossReference> of(std::string_view pdf);
};

/// A file that grows by one update.
class PdfAppendix {
public:
    explicit PdfAppendix(std::string_view pdf);

    /// Writes an object; where its `text` begins in the file.
    std::size_t addObject(int number, int generation, std::string_view text);
    /// Writes the cross-reference section, in the kind of the previous one, and the trailer with
    /// these further entries. `size` is one more than the highest object number in use; a stream
    /// takes that number for itself.
    void finish(const CrossReference& previous, int size, const std::string& trailerEntries);

    /// The whole file.
    std::string& bytes() { return m_bytes; }

private:
    struct Place {
        std::size_t offset = 0;
        int generation = 0;
    };

    void writeTable(const std::string& trailer);
    void writeStream(const std::string& trailer, int number);
    template <typename Run>
    void forEachRun(const Run& run) const;

    std::string m_bytes;
    std::map<int, Place> m_places; // by object number
};

} // namespace devserver
