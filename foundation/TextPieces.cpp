// SPDX-License-Identifier: MIT
#include "foundation/TextPieces.h"

namespace {

/// Texts from this length on are kept instead of copied.
constexpr std::size_t longText = 4096;

} // namespace

void TextPieces::addText(const JsonText& text) {
    if (text.size() < longText) {
        m_end += text.view();
    } else {
        endPiece();
        m_pieces.push_back({text.shared(), text.clean()});
    }
}

void TextPieces::addQuoted(const JsonText& text) {
    m_end += '"';
    addText(text.isPlain() ? text : text.escaped());
    m_end += '"';
}

std::size_t TextPieces::size() const {
    std::size_t size = m_end.size();
    for (const Piece& piece : m_pieces) {
        size += piece.text.size();
    }
    return size;
}

std::string TextPieces::joined() const {
    std::string text;
    text.reserve(size());
    for (const Piece& piece : m_pieces) {
        text += piece.text.view();
    }
    return text + m_end;
}

std::vector<TextPieces::Piece> TextPieces::take() && {
    endPiece();
    return std::move(m_pieces);
}

void TextPieces::endPiece() {
    if (!m_end.empty()) {
        m_pieces.push_back({SharedText(std::exchange(m_end, {})), std::nullopt});
    }
}
