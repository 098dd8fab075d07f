// SPDX-License-Identifier: MIT
#include "ZqMacClient/AppDelegate.h"

#include "ZqMacClient/ApplicationVersion.h"
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqError.h"
#include "platform/Platform.h"

using platform::current;
using platform::fatalError;
using platform::NSLog;

namespace {

constexpr const char* logFile = "/tmp/Quillet.log";
constexpr const char* urlScheme = "quillet";
constexpr std::string_view urlPrefix = "quillet://";
constexpr std::string_view installArgument = "install";

} // namespace

void AppDelegate::applicationWillFinishLaunching() {
    redirectLog();
    registerUrlHandling();
    m_viewController = ViewController::viewController;
    current().security().SecKeychainSetUserInteractionAllowed(true);
    appendStartLines();
    readCommandLine();
}

void AppDelegate::applicationWillTerminate() {
}

void AppDelegate::redirectLog() {
    // Standard error stays as it is when the file cannot be opened.
    current().system().reopenStandardError(logFile, "a+");
}

void AppDelegate::registerUrlHandling() {
    current().application().setEventHandler(
        [this](const auto* event, const auto* replyEvent) { handleEvent(event, replyEvent); },
        platform::kInternetEventClass, platform::kAEGetURL);
    const std::optional<std::string> identifier = current().system().bundleIdentifier();
    if (!identifier) {
        fatalError("the application has no bundle identifier");
    }
    current().system().LSSetDefaultHandlerForURLScheme(urlScheme, *identifier);
}

void AppDelegate::appendStartLines() {
    if (m_viewController == nullptr) {
        return;
    }
    const std::optional<std::string> version = applicationVersion();
    if (!version) {
        fatalError("the application has no version");
    }
    m_viewController->appendText("Starting Quillet version " + *version + ".");
    m_viewController->appendText("Running on macOS " + systemVersionText() + ".");
}

void AppDelegate::readCommandLine() {
    const std::vector<std::string> arguments = current().system().arguments();
    std::string parameters;
    for (const std::string& argument : arguments) {
        parameters += argument + " ";
    }
    NSLog("Command line parameters (", std::to_string(arguments.size()), "): ", parameters);
    if (arguments.size() < 2) {
        return;
    }
    const std::string& argument = arguments[1];
    if (argument == installArgument) {
        // The missing verb belongs to the log's vocabulary.
        NSLog("we to register for quillet:// URL handling");
        ZqError("Quillet", "Quillet successfully installed.", platform::NSAlertStyle::informational)
            .showAndExit();
    }
    if (argument.starts_with(urlPrefix)) {
        NSLog("Overriding custom URL with command line URL: ", argument);
        m_overrideUrl = true;
        startSession(argument);
    }
}

void AppDelegate::handleEvent(
    const platform::AppleEventDescriptor* event, const platform::AppleEventDescriptor*) {
    if (m_overrideUrl) {
        return;
    }
    const auto* parameter
        = event == nullptr ? nullptr : event->paramDescriptorForKeyword(platform::keyDirectObject);
    if (parameter == nullptr || !parameter->stringValue) {
        fatalError("a URL event carries no URL");
    }
    const std::string& url = *parameter->stringValue;
    NSLog("Launching with custom URL: ", url);
    startSession(url);
}

void AppDelegate::startSession(const std::string& serverUrl) {
    if (m_viewController != nullptr) {
        m_viewController->checkForUpdates(serverUrl);
        m_viewController->connectToServer(serverUrl);
    }
}
