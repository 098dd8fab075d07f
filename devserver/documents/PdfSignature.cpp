// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfSignature.h"

#include "devserver/documents/PdfProof.h"

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

/// What a CMS signature holds besides the certificate: names, attributes, an RSA signature of up to
/// 16384 bits.
constexpr std::size_t roomBesidesCertificate = 4096;

} // namespace

std::optional<PdfSignature> PdfSignature::begin(std::string pdf, std::string_view certificateDer,
    const PdfOptions& options, std::string& error) {
    // The issuer's name stands in the CMS signature once more, outside the certificate.
    const std::size_t room = 3 * certificateDer.size() + roomBesidesCertificate;
    try {
        PdfUpdate update = updateForSignature(pdf, room, currentTime(), options);
        std::optional<CmsSignature> cms = CmsSignature::begin(
            certificateDer, sha256({pdf, update.beforeContents(), update.afterContents()}), error);
        if (!cms) {
            return std::nullopt;
        }
        return PdfSignature(std::move(pdf), std::move(update), std::move(*cms), options.password);
    } catch (const PdfRefusal& refusal) {
        error = refusal.reason;
        return std::nullopt;
    }
}

std::optional<std::string> PdfSignature::complete(std::string_view signature, std::string& error) {
    const std::optional<std::string> cms = m_cms.complete(signature, error);
    if (!cms) {
        return std::nullopt;
    }
    const std::string text = pdfHexadecimal(*cms);
    if (text.size() > m_update.contentsEnd - m_update.contentsStart - 2) {
        error = "the CMS signature is larger than the room that was kept for it";
        return std::nullopt;
    }
    m_update.text.replace(m_update.contentsStart + 1, text.size(), text);
    const std::size_t originalSize = m_pdf.size();
    m_pdf.reserve(originalSize + m_update.text.size());
    m_pdf += m_update.text;
    try {
        proveUpdate(m_pdf, originalSize, m_update, m_password);
    } catch (const PdfRefusal& refusal) {
        error = refusal.reason;
        return std::nullopt;
    }
    return std::move(m_pdf);
}

std::optional<PdfRefusal> pdfRefusal(std::string_view pdf, const PdfOptions& options) {
    try {
        updateForSignature(pdf, 0, "", options);
    } catch (const PdfRefusal& refusal) {
        return refusal;
    }
    return std::nullopt;
}

} // namespace devserver
