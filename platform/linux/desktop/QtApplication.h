// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>
#include <functional>
#include <string>

namespace platform {

/// Hands Qt's warnings and errors to `log`, from any thread, for the rest of the process.
void logComplaintsOfQt(std::function<void(std::string_view line)> log);

/// Qt's application object, set up for this program.
class QtApplication final {
public:
    /// `askedToQuit` is called when the desktop's session ends.
    QtApplication(const QString& identifier, const std::string& displayPlugin,
        std::function<void()> askedToQuit);

private:
    /// Keeps Qt from leaving its event loops: the main loop is not Qt's.
    class QuitFilter final : public QObject {
    public:
        explicit QuitFilter(std::function<void()> askedToQuit);
        bool eventFilter(QObject* receiver, QEvent* event) override;

    private:
        std::function<void()> m_askedToQuit;
    };

    // The words of a command line, which Qt refers to. The user's own words are not for Qt.
    std::string m_program = "Quillet";
    std::string m_option = "-platform";
    std::string m_displayPlugin;
    char* m_words[4];
    int m_count = 3;
    QApplication m_application;
    QuitFilter m_quitFilter;
};

} // namespace platform
