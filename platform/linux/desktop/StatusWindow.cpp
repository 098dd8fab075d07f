// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/StatusWindow.h"

#include "platform/linux/desktop/Activation.h"
#include "platform/linux/desktop/TextBlock.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QShortcut>

namespace platform {

namespace {

constexpr int usualColumns = 76;
constexpr int usualLines = 16;
constexpr int keptLines = 10'000;
constexpr int fewestColumns = 40;
constexpr int fewestLines = 5;

} // namespace

StatusWindow::StatusWindow(std::function<void()> closed)
    : m_closed(std::move(closed))
    , m_view(new QPlainTextEdit) {
    setWindowTitle(QApplication::applicationDisplayName());
    setAccessibleName(windowTitle());
    m_view->setAccessibleName(tr("Status"));
    m_view->setAccessibleDescription(tr("The steps of the signing session, one a line"));
    m_view->setUndoRedoEnabled(false);
    m_view->setMaximumBlockCount(keptLines + 1); // a server may have lines written without end
    m_view->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_view->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    m_view->setFrameShape(QFrame::NoFrame);
    m_view->document()->setDocumentMargin(10);
    m_view->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    setCentralWidget(m_view);
    const QFontMetrics metrics(m_view->font());
    resize(metrics.averageCharWidth() * usualColumns + 40, metrics.lineSpacing() * usualLines + 20);
    setMinimumSize(metrics.averageCharWidth() * fewestColumns, metrics.lineSpacing() * fewestLines);
    m_view->setFocus();
    for (const auto key : {QKeySequence::Close, QKeySequence::Quit}) {
        connect(new QShortcut(key, this), &QShortcut::activated, this, &QWidget::close);
    }
}

void StatusWindow::append(std::string_view text) {
    QScrollBar* bar = m_view->verticalScrollBar();
    const bool isAtEnd = bar->value() == bar->maximum();
    QTextCursor end(m_view->document());
    end.movePosition(QTextCursor::End);
    end.insertText(TextBlock::wholeFromUtf8(text));
    if (isAtEnd) {
        bar->setValue(bar->maximum());
    }
}

void StatusWindow::showServer(const std::string& server) {
    const QString name = QApplication::applicationDisplayName();
    setWindowTitle(server.empty() ? name : tr("%1 - %2").arg(TextBlock::fromUtf8(server), name));
    setAccessibleName(windowTitle());
}

void StatusWindow::bringToFront() {
    QWidget* dialog = QApplication::activeModalWidget();
    QWidget* front = dialog == nullptr ? this : dialog;
    if (isMinimized()) {
        showNormal();
    }
    bringToFrontForUser(*front);
    QApplication::alert(front); // where the desktop does not let it come to the front
}

void StatusWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    m_closed();
}

} // namespace platform
