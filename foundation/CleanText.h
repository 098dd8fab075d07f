// SPDX-License-Identifier: MIT
// What one look at a text tells about it goes with the text, so that nobody looks twice.
#pragma once

#include "foundation/SharedText.h"

#include <string>
#include <string_view>

/// A view of well-formed UTF-8 without NUL.
class CleanText {
public:
    /// The longest such beginning of `text`.
    static CleanText beginningOf(std::string_view text);

    std::string_view view() const { return m_text; }

private:
    friend class JudgedText;
    friend class JsonText;

    explicit CleanText(std::string_view text)
        : m_text(text) { }

    std::string_view m_text;
};

/// A text that was looked at once.
class JudgedText {
public:
    JudgedText(OwnedText text);
    JudgedText(std::string text)
        : JudgedText(OwnedText(std::move(text))) { }
    JudgedText(std::string_view text)
        : JudgedText(std::string(text)) { }
    JudgedText(const char* text)
        : JudgedText(std::string(text)) { }

    std::string_view view() const { return m_text.view(); }
    CleanText clean() const { return CleanText(view().substr(0, m_cleanLength)); }
    /// What comes after the clean beginning.
    std::string_view rest() const { return view().substr(m_cleanLength); }

    void removeSuffix(std::size_t length);
    /// The text, to be changed; nothing is known of it any more.
    OwnedText take() && { return std::move(m_text); }

private:
    OwnedText m_text;
    std::size_t m_cleanLength;
};
