// SPDX-License-Identifier: MIT
#pragma once

#include <QPlainTextEdit>

namespace platform {

/// Text from elsewhere as a dialog shows it: plain whatever it holds, selectable, as high as it
/// needs up to a limit, then scrollable. At least two lines of a longer text are seen.
class TextBlock final : public QPlainTextEdit {
public:
    TextBlock(const QString& text, const QFont& font, int width, int mostHeight);

    /// The text as it is shown: NUL, which no font and no clipboard takes, as U+FFFD.
    static QString wholeFromUtf8(std::string_view text);
    /// The same, and what is beyond `mostCharacters` left out, for laying out a dialog's text
    /// without end would never end.
    static QString fromUtf8(std::string_view text);

    static constexpr int mostCharacters = 100'000;

private:
    static constexpr int mostLines = 14;
};

} // namespace platform
