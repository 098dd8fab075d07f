// SPDX-License-Identifier: MIT
// A text that is made of others. Long ones are not copied but kept.
#pragma once

#include "foundation/CleanText.h"
#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class TextPieces {
public:
    struct Piece {
        SharedText text;
        std::optional<CleanText> clean; // all of `text`, if that is known
    };

    TextPieces() = default;
    TextPieces(std::string text)
        : m_end(std::move(text)) { }
    TextPieces(const char* text)
        : m_end(text) { }

    /// A copy of the text.
    void add(std::string_view text) { m_end += text; }
    void addText(const JsonText& text);
    /// The text as JSON has it: in quotes, escaped.
    void addQuoted(const JsonText& text);

    std::size_t size() const;
    std::string joined() const;
    /// What was added, in its order.
    std::vector<Piece> take() &&;

    friend bool operator==(const TextPieces& a, std::string_view b) { return a.joined() == b; }

private:
    void endPiece();

    std::vector<Piece> m_pieces;
    std::string m_end; // what was added after the last piece
};
