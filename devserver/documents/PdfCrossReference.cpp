// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfCrossReference.h"

#include "devserver/documents/PdfText.h"

#include <algorithm>
#include <set>

namespace devserver {

namespace {

constexpr std::size_t headerArea = 1024; // bytes within which readers look for the header
constexpr std::size_t endArea = 1024; // and for the end mark
constexpr std::string_view endMark = "%%EOF";
constexpr std::string_view startKeyword = "startxref";

/// Where the first number of a table stands if it is to be 0 instead of 1.
std::optional<std::size_t> wrongFirstNumber(std::string_view pdf, std::size_t offset) {
    std::size_t position = offset;
    pdfToken(pdf, position); // "xref"
    const std::string_view first = pdfToken(pdf, position);
    pdfToken(pdf, position); // how many
    const std::string_view entryOffset = pdfToken(pdf, position);
    const std::string_view generation = pdfToken(pdf, position);
    const bool isWrong = first == "1" && entryOffset == "0000000000" && generation == "65535"
        && pdfToken(pdf, position) == "f";
    return isWrong ? std::optional(static_cast<std::size_t>(first.data() - pdf.data()))
                   : std::nullopt;
}

std::optional<std::size_t> previousOf(std::string_view pdf, std::size_t offset) {
    for (const PdfEntry& entry : pdfEntries(trailerAt(pdf, offset)).value_or(PdfEntries())) {
        const std::optional<long long> number = pdfInteger(entry.value);
        if (entry.key == "/Prev" && number && *number >= 0) {
            return static_cast<std::size_t>(*number);
        }
    }
    return std::nullopt;
}

/// What stands behind the last "startxref".
std::string_view toldStart(std::string_view pdf) {
    std::size_t position = pdf.rfind(startKeyword);
    if (position == std::string_view::npos) {
        return {};
    }
    position += startKeyword.size();
    return pdfToken(pdf, position);
}

} // namespace

std::optional<PdfExtent> PdfExtent::of(std::string_view file) {
    const std::size_t header = file.substr(0, headerArea).find("%PDF-");
    if (header == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view pdf = file.substr(header);
    const std::size_t mark = pdf.rfind(endMark);
    if (mark != std::string_view::npos && pdf.size() - mark > endArea) {
        pdf = pdf.substr(0, mark + endMark.size());
    }
    return PdfExtent{header, pdf};
}

std::optional<std::size_t> startOfCrossReference(std::string_view pdf) {
    const std::optional<long long> told = pdfInteger(toldStart(pdf));
    if (!told || *told < 0 || static_cast<std::size_t>(*told) >= pdf.size()) {
        return std::nullopt;
    }
    auto behind = static_cast<std::size_t>(*told);
    const std::string_view token = pdfToken(pdf, behind);
    return token.empty() ? static_cast<std::size_t>(*told) : behind - token.size();
}

std::map<std::size_t, char> mendedBytes(std::string_view pdf) {
    std::map<std::size_t, char> mended;
    std::optional<std::size_t> offset = startOfCrossReference(pdf);
    const std::string_view told = toldStart(pdf);
    std::string right = std::to_string(offset.value_or(0));
    if (offset && static_cast<long long>(*offset) != pdfInteger(told)) {
        right.insert(0, told.size() - std::min(told.size(), right.size()), '0');
        for (std::size_t i = 0; i < right.size(); ++i) { // one digit more may take a blank's place
            mended[static_cast<std::size_t>(told.data() - pdf.data()) + i] = right[i];
        }
    }
    std::set<std::size_t> seen;
    while (
        offset && *offset < pdf.size() && seen.insert(*offset).second && isTableAt(pdf, *offset)) {
        if (const std::optional<std::size_t> first = wrongFirstNumber(pdf, *offset)) {
            mended[*first] = '0';
        }
        offset = previousOf(pdf, *offset);
    }
    return mended;
}

std::string_view trailerAt(std::string_view pdf, std::size_t offset) {
    std::size_t position = offset;
    if (isTableAt(pdf, offset)) {
        for (std::string_view token = pdfToken(pdf, position); token != "trailer";
             token = pdfToken(pdf, position)) {
            if (token.empty()) {
                return {};
            }
        }
    } else if (!pdfObjectHeader(pdf, position)) {
        return {};
    }
    return pdfObject(pdf, position);
}

bool isTableAt(std::string_view pdf, std::size_t offset) {
    std::size_t position = offset;
    return pdfToken(pdf, position) == "xref";
}

} // namespace devserver
