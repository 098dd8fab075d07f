// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/AlertDialog.h"

#include "platform/Trust.h"
#include "platform/linux/desktop/TextBlock.h"

#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QStyle>
#include <QTimer>

namespace platform {

namespace {

QIcon iconOf(NSAlertStyle alertStyle, const QStyle& style) {
    switch (alertStyle) {
    case NSAlertStyle::critical:
        return style.standardIcon(QStyle::SP_MessageBoxCritical);
    case NSAlertStyle::informational:
        return QApplication::windowIcon();
    default:
        return style.standardIcon(QStyle::SP_MessageBoxWarning);
    }
}

QFont boldFont() {
    QFont font = QApplication::font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    return font;
}

} // namespace

AlertDialog::AlertDialog(const NSAlert& alert, QWidget* parent)
    : QDialog(parent)
    , m_response(NSAlertFirstButtonReturn) {
    const QString message = TextBlock::fromUtf8(alert.messageText);
    const QString details = TextBlock::fromUtf8(alert.informativeText);
    setWindowTitle(QApplication::applicationDisplayName());
    setAccessibleName(message);
    setAccessibleDescription(details);

    auto* icon = new QLabel;
    icon->setPixmap(iconOf(alert.alertStyle, *style()).pixmap(48));
    const int width = fontMetrics().averageCharWidth() * 64;
    auto* texts = new QVBoxLayout;
    auto* messageBlock = new TextBlock(message, boldFont(), width);
    messageBlock->setAccessibleName(tr("Message"));
    texts->addWidget(messageBlock);
    if (!details.isEmpty()) {
        auto* detailsBlock = new TextBlock(details, font(), width);
        detailsBlock->setAccessibleName(tr("Details"));
        texts->addWidget(detailsBlock);
    }
    texts->addStretch();
    auto* content = new QHBoxLayout;
    content->setSpacing(16);
    content->addWidget(icon, 0, Qt::AlignTop);
    content->addLayout(texts);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    std::vector<std::string> titles = alert.buttons;
    if (titles.empty()) {
        titles = {"OK"};
    }
    for (const std::string& title : titles) {
        auto* button = new QPushButton(TextBlock::fromUtf8(title));
        button->setMinimumWidth(button->sizeHint().width() + 16);
        const int response = NSAlertFirstButtonReturn + buttons->count() - 1;
        connect(button, &QPushButton::clicked, this, [this, response] {
            m_response = response;
            accept();
        });
        if (response == NSAlertFirstButtonReturn) {
            button->setDefault(true);
        }
        buttons->addWidget(button);
    }
    connect(this, &QDialog::rejected, this, [this, last = titles.size() - 1] {
        m_response = NSAlertFirstButtonReturn + static_cast<int>(last);
    });

    auto* copy = new QShortcut(QKeySequence::Copy, this);
    connect(copy, &QShortcut::activated, this, [message, details] {
        QApplication::clipboard()->setText(
            details.isEmpty() ? message : message + QLatin1Char('\n') + details);
    });

    auto* all = new QVBoxLayout(this);
    all->setContentsMargins(20, 20, 20, 16);
    all->setSpacing(18);
    all->addLayout(content);
    all->addLayout(buttons);
    all->setSizeConstraint(QLayout::SetFixedSize);
    findChild<QPushButton*>()->setFocus(); // the first one
}

void AlertDialog::guard() {
    QList<QPushButton*> buttons = findChildren<QPushButton*>();
    QPushButton* const last = buttons.takeLast();
    for (QPushButton* button : buttons) {
        button->setDefault(false);
        button->setAutoDefault(false);
        button->setEnabled(false);
        QTimer::singleShot(guardedFor, button, [button] { button->setEnabled(true); });
    }
    last->setDefault(true);
    last->setFocus();
}

int AlertDialog::run() {
    runInFront(*this);
    return m_response;
}

int runInFront(QDialog& dialog) {
    QWidget* window = dialog.parentWidget();
    if (window != nullptr && window->isMinimized()) {
        window->showNormal(); // it would keep its dialog out of sight
    }
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
    QApplication::alert(&dialog); // where the desktop does not let it come to the front
    return dialog.exec();
}

} // namespace platform
