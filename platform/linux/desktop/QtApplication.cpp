// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/QtApplication.h"

#include <QEvent>
#include <QIcon>
#include <clocale>
#include <mutex>

namespace platform {

namespace {

/// Where Qt's complaints go. Never destroyed: threads of Qt complain until the process is gone.
struct ComplaintLog {
    std::mutex mutex;
    std::function<void(std::string_view line)> write; // nothing where nobody listens
};

ComplaintLog& complaintLog() {
    static auto* log = new ComplaintLog;
    return *log;
}

void takeComplaint(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg) {
        const std::lock_guard lock(complaintLog().mutex);
        if (complaintLog().write) {
            complaintLog().write("Desktop: " + message.toStdString());
        }
    }
}

QIcon applicationIcon() {
    QIcon icon;
    for (const int size : {32, 48, 128, 256}) {
        icon.addFile(QStringLiteral(":/icon/%1.png").arg(size));
    }
    return icon;
}

} // namespace

QtApplication::QuitFilter::QuitFilter(std::function<void()> askedToQuit)
    : m_askedToQuit(std::move(askedToQuit)) {
}

bool QtApplication::QuitFilter::eventFilter(QObject* receiver, QEvent* event) {
    if (event->type() == QEvent::Quit) {
        m_askedToQuit();
        return true;
    }
    return QObject::eventFilter(receiver, event);
}

void logComplaintsOfQt(std::function<void(std::string_view line)> log) {
    {
        const std::lock_guard lock(complaintLog().mutex);
        complaintLog().write = std::move(log);
    }
    qInstallMessageHandler(takeComplaint);
}

QtApplication::QtApplication(
    const QString& identifier, const std::string& displayPlugin, std::function<void()> askedToQuit)
    : m_displayPlugin(displayPlugin)
    , m_words{m_program.data(), m_option.data(), m_displayPlugin.data(), nullptr}
    , m_application(m_count, m_words)
    , m_quitFilter(std::move(askedToQuit)) {
    // Qt has taken over the user's locale, but the log's texts and numbers are the same everywhere.
    std::setlocale(LC_ALL, "C");
    std::setlocale(LC_CTYPE, ""); // of this one input methods depend
    QApplication::setApplicationName(QStringLiteral("Quillet"));
    QApplication::setDesktopFileName(identifier);
    QApplication::setWindowIcon(applicationIcon());
    QApplication::setQuitOnLastWindowClosed(false);
    m_application.installEventFilter(&m_quitFilter);
}

} // namespace platform
