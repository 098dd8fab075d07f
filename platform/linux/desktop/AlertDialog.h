// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <QDialog>
#include <QList>

class QPushButton;
class QTimer;

namespace platform {

/// A modal alert: icon, message, details, and its buttons from left to right in the order given,
/// the first being the default one. Copying copies the message and the details.
class AlertDialog final : public QDialog {
public:
    AlertDialog(const NSAlert& alert, QWidget* parent);

    /// Makes it a question of trust: the last button is the default one, and the others can be
    /// pressed only when the dialog has been in front for `guardedFor`, and never by Enter.
    void guard();

    /// For an alert beside those of other agents, `place` of them: moves it away from them, and
    /// gives it the window's title, which tells the server that it is about, with the code of the
    /// room if there is one.
    void standApart(int place, const std::string& roomCode);

    /// Blocks until the user answers; returns the response. Dismissing is answering with the last
    /// button.
    int run();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QLayout* textsOf(const QString& message, const QString& details);
    QLayout* buttonsOf(std::vector<std::string> titles);
    void beginGuard();

    int m_response;
    QTimer* m_guard = nullptr; // while it runs, the buttons that are guarded cannot be pressed
    QList<QPushButton*> m_guarded;
};

/// Shows the dialog in front of everything and blocks until it is closed; returns its result.
int runInFront(QDialog& dialog);

} // namespace platform
