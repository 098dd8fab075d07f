// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/TextBlock.h"

#include <QTextLayout>
#include <algorithm>
#include <string_view>

namespace platform {

namespace {

/// How many lines the text fills at this width; counts no further than `most`.
int linesOf(const QString& text, const QFont& font, qreal width, int most) {
    int lines = 0;
    for (const QString& paragraph : text.split(QLatin1Char('\n'))) {
        QTextLayout layout(paragraph, font);
        layout.setTextOption(QTextOption(Qt::AlignLeft));
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid() && lines < most;
             line = layout.createLine()) {
            line.setLineWidth(width);
            ++lines;
        }
        layout.endLayout();
        if (lines >= most) {
            return most;
        }
    }
    return lines;
}

} // namespace

TextBlock::TextBlock(const QString& text, const QFont& font, int width, int mostHeight)
    : QPlainTextEdit(text) {
    setFont(font);
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false); // as if written on the dialog itself
    document()->setDocumentMargin(0);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    const int lineHeight = QFontMetrics(font).lineSpacing();
    const int most = std::clamp((mostHeight - 2) / lineHeight, 2, mostLines);
    const int lines = linesOf(text.left(20'000), font, width, most + 1);
    setVerticalScrollBarPolicy(lines > most ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    setFixedSize(width, std::min(lines, most) * lineHeight + 2);
}

QString TextBlock::wholeFromUtf8(std::string_view text) {
    QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    shown.replace(QChar(0), QChar(QChar::ReplacementCharacter));
    return shown;
}

QString TextBlock::fromUtf8(std::string_view text) {
    QString shown = wholeFromUtf8(text);
    if (shown.size() > mostCharacters) {
        const bool cutsPair = shown[mostCharacters].isLowSurrogate();
        shown.truncate(cutsPair ? mostCharacters - 1 : mostCharacters);
        shown += QStringLiteral("\n[...]\n");
    }
    return shown;
}

} // namespace platform
