// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqCertificate.h"

#include <algorithm>

namespace {

JsonValue valueOf(const std::optional<std::string>& text) {
    return text ? JsonValue(*text) : JsonValue(nullptr);
}

/// At least `width` digits.
std::string padded(long long number, std::size_t width) {
    std::string text = std::to_string(number);
    text.insert(0, width - std::min(width, text.size()), '0');
    return text;
}

JsonValue valueOf(const std::optional<ZqCertificate::Date>& date) {
    if (!date) {
        return nullptr;
    }
    const auto day = std::chrono::floor<std::chrono::days>(*date);
    const std::chrono::year_month_day calendar(day);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(*date - day));
    return padded(int(calendar.year()), 4) + "-" + padded(unsigned(calendar.month()), 2) + "-"
        + padded(unsigned(calendar.day()), 2) + "T" + padded(time.hours().count(), 2) + ":"
        + padded(time.minutes().count(), 2) + ":" + padded(time.seconds().count(), 2) + "Z";
}

} // namespace

JsonObject ZqCertificate::getDictionary() const {
    return {
        {"alias", valueOf(alias)},
        {"name", valueOf(name)},
        {"certificateDigest", valueOf(certificateDigest)},
        {"validFrom", valueOf(validFrom)},
        {"validTo", valueOf(validTo)},
        {"issuerDn", valueOf(issuerDn)},
        {"subjectDn", valueOf(subjectDn)},
        {"serialHex", valueOf(serialHex)},
        {"certificate", valueOf(certificate)},
    };
}
