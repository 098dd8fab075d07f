// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/QtDesktop.h"

#include "platform/linux/WebPage.h"
#include "platform/linux/desktop/AlertDialog.h"
#include "platform/linux/desktop/AlertPlace.h"
#include "platform/linux/desktop/Appearance.h"
#include "platform/linux/desktop/BusNotifications.h"
#include "platform/linux/desktop/DisplayPlugin.h"
#include "platform/linux/desktop/LinkService.h"
#include "platform/linux/desktop/PasswordDialog.h"
#include "platform/linux/desktop/QtApplication.h"
#include "platform/linux/desktop/StatusWindow.h"

namespace platform {

struct QtDesktop::Windows {
    Windows(DesktopHost& host, const std::string& identifier, const std::string& displayPlugin)
        : application(QString::fromStdString(identifier), displayPlugin,
            [this, &host] {
                links.stop();
                host.windowClosed();
            })
        , window([this, &host] {
            links.stop();
            host.windowClosed();
        })
        , notifications(QString::fromStdString(identifier))
        , links(identifier,
              {.activated =
                      [this](const Activation& activation) {
                          activation.use();
                          window.bringToFront();
                          tellStarted(activation);
                      },
                  .opened = [&host](LinkService::Take take) { host.openURL(std::move(take)); }}) { }

    QtApplication application;
    Appearance appearance;
    StatusWindow window;
    BusNotifications notifications;
    LinkService links;
};

QtDesktop::QtDesktop(
    DesktopHost& host, const std::string& identifier, const std::string& displayPlugin)
    : m_host(host)
    , m_loop([this] {
        tellEnd();
        closeWindows();
    })
    , m_windows(std::make_unique<Windows>(host, identifier, displayPlugin)) {
}

QtDesktop::~QtDesktop() {
    closeWindows();
}

void QtDesktop::show() {
    m_windows->window.show();
    m_windows->window.activateWindow();
}

bool QtDesktop::handOver(const std::string& url, const Activation& activation) {
    return m_windows->links.handOver(url, activation);
}

/// The window does not go without a word when the program ends, unless its user closed it or has
/// answered what it ended with.
void QtDesktop::tellEnd() {
    if (!m_windows) {
        return;
    }
    if (m_windows->notifications.hasShown()) {
        m_windows->notifications.show({"The signing session has ended", "Quillet"});
    } else if (!m_server.empty() && !m_hasAsked) {
        m_windows->notifications.show(
            {"The signing session could not begin", "There is no connection to " + m_server});
    }
}

/// What Qt complains of later has no log any more.
void QtDesktop::closeWindows() {
    m_windows.reset();
    logComplaintsOfQt(nullptr);
}

void QtDesktop::acceptLinks() {
    std::string problem;
    if (!m_windows->links.start(problem)) {
        m_host.log("No links from the desktop: " + problem);
    }
}

void QtDesktop::showServer(const std::string& server, const std::string& roomCode) {
    m_hasAsked = false;
    m_server = server;
    m_roomCode = roomCode;
    m_step.clear();
    m_windows->window.showServer(server);
}

NSTextView* QtDesktop::statusTextView() {
    return &m_windows->window;
}

int QtDesktop::runModal(const NSAlert& alert) {
    int response = NSAlertFirstButtonReturn;
    m_host.runModally([&] {
        m_hasAsked = true;
        if (alert.endsProgram) {
            m_windows->links.stop();
        }
        const AlertPlace place(QApplication::desktopFileName());
        AlertDialog dialog(alert, &m_windows->window);
        dialog.standApart(place.number(), m_roomCode);
        response = dialog.run();
    });
    return response;
}

bool QtDesktop::agrees(const NSAlert& question) {
    int response = 0;
    m_host.runModally([&] {
        const AlertPlace place(QApplication::desktopFileName());
        AlertDialog dialog(question, &m_windows->window);
        dialog.guard();
        dialog.standApart(place.number(), m_roomCode);
        response = dialog.run();
    });
    return response == NSAlertFirstButtonReturn;
}

void QtDesktop::deliverNotification(const NSUserNotification& notification) {
    m_step = notification.title.value_or("");
    m_windows->notifications.show(notification);
}

bool QtDesktop::openURL(const std::string& url) {
    return openWebPage(url);
}

std::optional<std::string> QtDesktop::askForPassword(const std::string& tokenName, bool again) {
    // Filled in place: a copy of a short text would leave its characters behind.
    std::optional<std::string> password(std::in_place);
    m_host.runModally([&] {
        const PasswordReason reason{m_step, m_certificate, m_server};
        if (!PasswordDialog(tokenName, reason, again, &m_windows->window).run(*password)) {
            password.reset();
        }
    });
    return password;
}

} // namespace platform

extern "C" __attribute__((visibility("default"))) platform::DesktopShell* quilletOpenDesktop(
    platform::DesktopHost& host, const platform::DesktopStart& start,
    platform::DesktopOutcome& outcome) {
    const std::string displayPlugin = platform::usableDisplayPlugin(outcome.problem);
    if (displayPlugin.empty()) {
        return nullptr;
    }
    const auto activation = platform::Activation::ofThisStart();
    activation.use();
    platform::logComplaintsOfQt([&host](std::string_view line) { host.log(line); });
    auto desktop = std::make_unique<platform::QtDesktop>(host, start.identifier, displayPlugin);
    if (start.link && desktop->handOver(*start.link, activation)) {
        outcome.isLinkHandedOver = true;
        return nullptr;
    }
    desktop->show();
    return desktop.release();
}
