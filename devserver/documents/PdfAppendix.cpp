// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfAppendix.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <iterator>

namespace devserver {

namespace {

constexpr std::string_view blanks = std::string_view("\0\t\n\f\r ", 6);
constexpr std::size_t offsetBytes = 8; // of an entry of a cross-reference stream

/// An unsigned number in network order.
std::string bigEndian(std::uint64_t number, std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = length; i > 0; --i, number >>= 8) {
        bytes[i - 1] = static_cast<char>(number & 0xFF);
    }
    return bytes;
}

} // namespace

std::optional<CrossReference> CrossReference::of(std::string_view pdf) {
    constexpr std::string_view keyword = "startxref";
    const std::size_t found = pdf.rfind(keyword);
    const std::size_t number = found == std::string_view::npos
        ? found
        : pdf.find_first_not_of(blanks, found + keyword.size());
    CrossReference result;
    if (number == std::string_view::npos
        || std::from_chars(pdf.data() + number, pdf.data() + pdf.size(), result.offset).ec
            != std::errc()
        || result.offset >= pdf.size()) {
        return std::nullopt;
    }
    const std::size_t section = pdf.find_first_not_of(blanks, result.offset);
    result.isStream = section == std::string_view::npos || pdf.substr(section, 4) != "xref";
    return result;
}

PdfAppendix::PdfAppendix(std::string_view pdf)
    : m_bytes(pdf) {
    if (!m_bytes.ends_with('\n')) {
        m_bytes += '\n';
    }
}

std::size_t PdfAppendix::addObject(int number, int generation, std::string_view text) {
    m_places[number] = {m_bytes.size(), generation};
    m_bytes += std::to_string(number) + " " + std::to_string(generation) + " obj\n";
    const std::size_t start = m_bytes.size();
    m_bytes += text;
    m_bytes += "\nendobj\n";
    return start;
}

void PdfAppendix::finish(
    const CrossReference& previous, int size, const std::string& trailerEntries) {
    const std::size_t start = m_bytes.size();
    const std::string entries = " /Prev " + std::to_string(previous.offset) + " " + trailerEntries;
    if (previous.isStream) {
        writeStream("/Size " + std::to_string(size + 1) + entries, size);
    } else {
        writeTable("/Size " + std::to_string(size) + entries);
    }
    m_bytes += "startxref\n" + std::to_string(start) + "\n%%EOF\n";
}

/// Calls `run(first, last)` for each run of consecutive object numbers.
template <typename Run>
void PdfAppendix::forEachRun(const Run& run) const {
    for (auto first = m_places.begin(); first != m_places.end();) {
        auto last = first;
        auto next = std::next(first);
        while (next != m_places.end() && next->first == last->first + 1) {
            last = next++;
        }
        run(first, next);
        first = next;
    }
}

void PdfAppendix::writeTable(const std::string& trailer) {
    m_bytes += "xref\n";
    forEachRun([this](auto entry, auto end) {
        m_bytes += std::to_string(entry->first) + " " + std::to_string(std::distance(entry, end))
            + "\n";
        for (; entry != end; ++entry) {
            std::array<char, 32> line{};
            std::snprintf(line.data(), line.size(), "%010zu %05d n\r\n", entry->second.offset,
                entry->second.generation);
            m_bytes += line.data();
        }
    });
    m_bytes += "trailer\n<< " + trailer + " >>\n";
}

void PdfAppendix::writeStream(const std::string& trailer, int number) {
    m_places[number] = {m_bytes.size(), 0}; // it lists itself too
    std::string index;
    std::string entries;
    forEachRun([&](auto entry, auto end) {
        index
            += std::to_string(entry->first) + " " + std::to_string(std::distance(entry, end)) + " ";
        for (; entry != end; ++entry) {
            entries += '\1' + bigEndian(entry->second.offset, offsetBytes)
                + bigEndian(static_cast<std::uint64_t>(entry->second.generation), 2);
        }
    });
    addObject(number, 0,
        "<< /Type /XRef /W [ 1 " + std::to_string(offsetBytes) + " 2 ] /Index [ " + index
            + "] /Length " + std::to_string(entries.size()) + " " + trailer + " >>\nstream\n"
            + entries + "\nendstream");
}

} // namespace devserver
