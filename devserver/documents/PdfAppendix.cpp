// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfAppendix.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace devserver {

namespace {

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

std::size_t PdfAppendix::addObject(PdfReference reference, std::string_view text) {
    m_places[reference.number] = {m_start + m_text.size(), reference.generation, false};
    m_text
        += std::to_string(reference.number) + " " + std::to_string(reference.generation) + " obj\n";
    const std::size_t start = m_text.size();
    m_text += text;
    m_text += "\nendobj\n";
    return start;
}

void PdfAppendix::addToStream(int number, std::string_view text) {
    m_inStream[number] = text;
}

void PdfAppendix::finish(
    bool isStream, int nextNumber, const std::string& entries, const StreamBytes& bytes) {
    if (!m_inStream.empty()) {
        writeObjectStream(nextNumber++, bytes);
    }
    const std::size_t start = m_start + m_text.size();
    if (isStream) {
        writeStream("/Size " + std::to_string(nextNumber + 1) + " " + entries, nextNumber);
    } else {
        writeTable("/Size " + std::to_string(nextNumber) + " " + entries);
    }
    m_text += "startxref\n" + std::to_string(start) + "\n%%EOF\n";
}

void PdfAppendix::writeObjectStream(int number, const StreamBytes& bytes) {
    std::string index;
    std::string texts;
    int position = 0;
    for (const auto& [object, text] : m_inStream) {
        index += std::to_string(object) + " " + std::to_string(texts.size()) + " ";
        texts += text + "\n";
        m_places[object] = {static_cast<std::size_t>(number), position++, true};
    }
    const std::string written = bytes(index + texts, {number, 0});
    addObject({number, 0},
        "<< /Type /ObjStm /N " + std::to_string(m_inStream.size()) + " /First "
            + std::to_string(index.size()) + " /Length " + std::to_string(written.size())
            + " >>\nstream\n" + written + "\nendstream");
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
    m_text += "xref\n";
    forEachRun([this](auto entry, auto end) {
        m_text += std::to_string(entry->first) + " " + std::to_string(std::distance(entry, end))
            + "\n";
        for (; entry != end; ++entry) {
            std::array<char, 48> line{};
            std::snprintf(line.data(), line.size(), "%010zu %05d n\r\n", entry->second.offset,
                entry->second.generation);
            m_text += line.data();
        }
    });
    m_text += "trailer\n<< " + trailer + " >>\n";
}

void PdfAppendix::writeStream(const std::string& trailer, int number) {
    m_places[number] = {m_start + m_text.size(), 0, false}; // it lists itself too
    std::string index;
    std::string entries;
    forEachRun([&](auto entry, auto end) {
        index
            += std::to_string(entry->first) + " " + std::to_string(std::distance(entry, end)) + " ";
        for (; entry != end; ++entry) {
            entries += (entry->second.isInStream ? '\2' : '\1')
                + bigEndian(entry->second.offset, offsetBytes)
                + bigEndian(static_cast<std::uint64_t>(entry->second.generation), 2);
        }
    });
    addObject({number, 0},
        "<< /Type /XRef /W [ 1 " + std::to_string(offsetBytes) + " 2 ] /Index [ " + index
            + "] /Length " + std::to_string(entries.size()) + " " + trailer + " >>\nstream\n"
            + entries + "\nendstream");
}

} // namespace devserver
