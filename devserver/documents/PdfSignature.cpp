// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfSignature.h"

#include <array>
#include <ctime>

namespace devserver {

namespace {

/// The current time in PDF's form, in UTC.
std::string currentTime() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "D:%Y%m%d%H%M%SZ", &parts);
    return text.data();
}

std::string hexadecimal(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        text += digits[static_cast<unsigned char>(c) >> 4];
        text += digits[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

/// What a CMS signature holds besides the certificate: names, attributes, an RSA signature of up to
/// 16384 bits.
constexpr std::size_t roomBesidesCertificate = 4096;

} // namespace

std::optional<PdfSignature> PdfSignature::begin(
    std::string_view pdf, std::string_view certificateDer, std::string& error) {
    // The issuer's name stands in the CMS signature once more, outside the certificate.
    const std::size_t room = 3 * certificateDer.size() + roomBesidesCertificate;
    std::optional<PdfUpdate> update = updateForSignature(pdf, room, currentTime(), error);
    if (!update) {
        return std::nullopt;
    }
    std::optional<CmsSignature> cms = CmsSignature::begin(
        certificateDer, sha256({update->beforeContents(), update->afterContents()}), error);
    if (!cms) {
        return std::nullopt;
    }
    return PdfSignature(std::move(*update), std::move(*cms));
}

std::optional<std::string> PdfSignature::complete(std::string_view signature, std::string& error) {
    const std::optional<std::string> cms = m_cms.complete(signature, error);
    if (!cms) {
        return std::nullopt;
    }
    const std::string text = hexadecimal(*cms);
    const std::size_t room = m_update.contentsEnd - m_update.contentsStart - 2;
    if (text.size() > room) {
        error = "the CMS signature is larger than the room that was kept for it";
        return std::nullopt;
    }
    m_update.bytes.replace(m_update.contentsStart + 1, text.size(), text);
    return std::move(m_update.bytes);
}

} // namespace devserver
