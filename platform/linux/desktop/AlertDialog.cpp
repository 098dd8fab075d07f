// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/AlertDialog.h"

#include "platform/Trust.h"
#include "platform/linux/desktop/DialogLayout.h"
#include "platform/linux/desktop/TextBlock.h"

#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QIcon>
#include <QPushButton>
#include <QScreen>
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

/// What the screen leaves for texts beside the dialog's icon, above its buttons, inside its frame.
QSize roomForTexts(const QWidget& dialog) {
    constexpr QSize besides{160, 190};
    return dialog.screen()->availableSize() - besides;
}

/// The keys that close the window close its dialog, which is dismissed; the one that ends the
/// program ends it then.
void addClosingKeys(QDialog& dialog) {
    QObject::connect(new QShortcut(QKeySequence::Close, &dialog), &QShortcut::activated, &dialog,
        &QDialog::reject);
    QObject::connect(
        new QShortcut(QKeySequence::Quit, &dialog), &QShortcut::activated, &dialog, [&dialog] {
            dialog.reject();
            if (dialog.parentWidget() != nullptr) {
                dialog.parentWidget()->close();
            }
        });
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

    layOut(*this, iconOf(alert.alertStyle, *style()), textsOf(message, details),
        buttonsOf(alert.buttons));
    auto* copy = new QShortcut(QKeySequence::Copy, this);
    connect(copy, &QShortcut::activated, this, [message, details] {
        QApplication::clipboard()->setText(
            details.isEmpty() ? message : message + QLatin1Char('\n') + details);
    });
    findChild<QPushButton*>()->setFocus(); // the first one
}

QLayout* AlertDialog::textsOf(const QString& message, const QString& details) {
    const QSize room = roomForTexts(*this);
    const int width = std::min(fontMetrics().averageCharWidth() * 64, room.width());
    auto* texts = new QVBoxLayout;
    auto* messageBlock = new TextBlock(message, boldFont(), width, room.height() / 3);
    messageBlock->setAccessibleName(tr("Message"));
    texts->addWidget(messageBlock);
    if (!details.isEmpty()) {
        auto* detailsBlock
            = new TextBlock(details, font(), width, room.height() - messageBlock->height());
        detailsBlock->setAccessibleName(tr("Details"));
        texts->addWidget(detailsBlock);
    }
    texts->addStretch();
    return texts;
}

QLayout* AlertDialog::buttonsOf(std::vector<std::string> titles) {
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
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
    return buttons;
}

void AlertDialog::guard() {
    m_guarded = findChildren<QPushButton*>();
    QPushButton* const last = m_guarded.takeLast();
    for (QPushButton* button : m_guarded) {
        button->setDefault(false);
        button->setAutoDefault(false);
    }
    last->setDefault(true);
    last->setFocus();
    m_guard = new QTimer(this);
    m_guard->setSingleShot(true);
    m_guard->setTimerType(Qt::PreciseTimer); // never early
    m_guard->setInterval(guardedFor);
    connect(m_guard, &QTimer::timeout, this, [this] {
        for (QPushButton* button : m_guarded) {
            button->setEnabled(true);
        }
    });
    beginGuard();
}

void AlertDialog::beginGuard() {
    if (m_guard != nullptr) {
        for (QPushButton* button : m_guarded) {
            button->setEnabled(false);
        }
        m_guard->start();
    }
}

/// A click that was meant for what lay above the dialog does not press a button of it.
void AlertDialog::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        beginGuard();
    }
}

void AlertDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    beginGuard();
}

void AlertDialog::standApart(int place, const std::string& roomCode) {
    if (place == 0 || parentWidget() == nullptr) {
        return; // where the desktop puts it
    }
    const QString title = parentWidget()->windowTitle();
    setWindowTitle(roomCode.empty()
            ? title
            : tr("Room code %1, %2").arg(TextBlock::fromUtf8(roomCode), title));
    constexpr int step = 40; // less than half of what a short alert is high
    const QRect room = screen()->availableGeometry();
    const QSize left = room.size() - sizeHint();
    const int x = left.width() / 2 + place * step;
    const int y = left.height() / 2 + place * step;
    move(room.x() + std::clamp(x, 0, std::max(0, left.width())),
        room.y() + std::clamp(y, 0, std::max(0, left.height())));
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
    addClosingKeys(dialog);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
    QApplication::alert(&dialog); // where the desktop does not let it come to the front
    return dialog.exec();
}

} // namespace platform
