// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <QMainWindow>
#include <functional>
#include <string>

class QPlainTextEdit;

namespace platform {

/// The window, whose only content is the status view. The view follows its last line unless the
/// user has scrolled up.
class StatusWindow final : public QMainWindow, public NSTextView, public NSTextStorage {
public:
    explicit StatusWindow(std::function<void()> closed);

    NSTextStorage* textStorage() override { return this; }
    void append(std::string_view text) override;

    /// Names the server in the title.
    void showServer(const std::string& server);

    /// Brings the window, or the dialog that blocks it, to the front, for the user has
    /// asked for it.
    void bringToFront();

private:
    void closeEvent(QCloseEvent* event) override;

    std::function<void()> m_closed;
    QPlainTextEdit* m_view;
};

} // namespace platform
