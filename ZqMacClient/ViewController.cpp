// SPDX-License-Identifier: MIT
#include "ZqMacClient/ViewController.h"

#include "ZqMacClient/ApplicationVersion.h"
#include "ZqMacClient/LogFormat.h"
#include "ZqMacClient/ZqClient.h"
#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqRestApiClient.h"
#include "foundation/NumericCompare.h"
#include "foundation/PercentEncoding.h"
#include "foundation/URLReference.h"
#include "platform/Platform.h"

#include <cstdlib>

using platform::fatalError;
using platform::NSLog;

namespace {

constexpr std::string_view scheme = "quillet";
constexpr std::uint64_t defaultPort = 443;

std::string hostOf(const URLComponents& components) {
    if (!components.host) {
        fatalError("the server URL has no host");
    }
    return *components.host;
}

std::uint64_t portOf(const URLComponents& components) {
    const URLPort port = components.port.value_or(URLPort{defaultPort});
    if (!port.number) {
        fatalError("the port of the server URL has more than 64 bits");
    }
    return *port.number;
}

std::string pathOf(const URLComponents& components) {
    if (!components.path) {
        fatalError("the path of the server URL is no text");
    }
    return *components.path;
}

/// The address that both REST requests begin with. The decoded parts are encoded again, but no URL
/// is made of a host with characters that stand in none, such as blanks.
std::string restBaseAddress(const URLComponents& components) {
    const std::string host = hostOf(components);
    if (!hasOnlyURLCharacters(host)) {
        fatalError("not a URL: https://" + host);
    }
    return "https://" + percentEncodedHost(host) + ":" + std::to_string(portOf(components))
        + percentEncodedPath(pathOf(components));
}

/// The value that a request for `url` answers with, if any.
std::optional<std::string> requestValue(const std::string& url, const std::string& actionText) {
    if (!formsURL(url)) {
        fatalError("not a URL: " + url);
    }
    return ZqRestApiClient(url).getValue(actionText);
}

} // namespace

ViewController* ViewController::viewController = nullptr;

ViewController::ViewController(platform::NSTextView* statusTextView)
    : m_statusTextView(statusTextView) {
}

ViewController::~ViewController() {
    if (viewController == this) {
        viewController = nullptr;
    }
}

void ViewController::viewDidLoad() {
    viewController = this;
}

void ViewController::appendText(std::string_view text) {
    NSLog(logFormatted(text));
    if (m_statusTextView == nullptr) {
        fatalError("there is no status view");
    }
    if (platform::NSTextStorage* storage = m_statusTextView->textStorage()) {
        storage->append(std::string(text) + "\n");
    }
}

ServerUrl ViewController::parseServerUrl(const std::string& serverUrl) {
    std::optional<URLComponents> components = URLComponents::parse(serverUrl);
    std::optional<std::string> roomId
        = components ? components->getQueryParameter("roomId") : std::nullopt;
    if (!roomId || components->scheme != scheme) {
        ZqError("Error", "Could not parse server URL: " + serverUrl).showAndExit();
    }
    return {*std::move(components), *std::move(roomId)};
}

ServerUrl ViewController::admit(const std::string& serverUrl) {
    ServerUrl url = parseServerUrl(serverUrl);
    m_gatekeeper = ZqGatekeeper::ofThisComputer();
    m_gatekeeper.admitServer(serverUrl);
    ZqGatekeeper::beginSession(serverUrl, [&url] { return ZqConsent::roomCode(url.roomId); });
    return url;
}

void ViewController::connectToServer(const std::string& serverUrl) {
    const auto [components, roomId] = admit(serverUrl);
    const std::string host = hostOf(components);
    const std::uint64_t port = portOf(components);
    NSLog("Server: ", scheme, "://", host, ":", std::to_string(port));
    NSLog("Room ID: ", roomId);
    m_client = std::make_shared<ZqClient>(this);
    if (m_gatekeeper.policy()) {
        m_client->setConsent(ZqConsent(m_gatekeeper, ZqGatekeeper::serverOf(host), port, roomId));
    }
    m_client->connect(host, port, pathOf(components) + "/room/" + roomId, roomId);
}

void ViewController::checkForUpdates(const std::string& serverUrl) {
    appendText("Checking for application updates...");
    const std::string baseAddress = restBaseAddress(admit(serverUrl).components);
    const std::optional<std::string> latestVersion
        = requestValue(baseAddress + "/update/version?os=macos", "checking for Quillet updates");
    const std::optional<std::string> installedVersion = applicationVersion();
    if (!installedVersion) {
        fatalError("the application has no version");
    }
    NSLog("Installed Quillet version: ", *installedVersion);
    if (!latestVersion) {
        fatalError("the server did not tell the latest version");
    }
    NSLog("Latest available Quillet version: ", *latestVersion);
    if (numericCompare(*installedVersion, *latestVersion) != NSComparisonResult::orderedAscending) {
        appendText("No application updates found.");
        return;
    }
    // The version goes in as it came, not escaped.
    const std::optional<std::string> updateUrl
        = requestValue(baseAddress + "/update/bundle?os=macos&version=" + *latestVersion,
            "getting Quillet update download URL");
    if (!updateUrl) {
        fatalError("the server did not tell where to download the update");
    }
    displayUpgradeNotification(*latestVersion, *updateUrl);
}

void ViewController::displayUpgradeNotification(
    const std::string& latestVersion, const std::string& updateUrl) {
    appendText("New version available: " + latestVersion);
    platform::NSAlert alert;
    alert.alertStyle = platform::NSAlertStyle::informational;
    alert.messageText = "Please upgrade Quillet";
    alert.informativeText = "Newer version is available: " + latestVersion;
    alert.buttons = {"Download update", "Ignore"};
    if (platform::current().userInterface().runModal(alert) != platform::NSAlertFirstButtonReturn) {
        return;
    }
    NSLog("Opening download update page: ", updateUrl);
    if (!formsURL(updateUrl)) {
        fatalError("not a URL: " + updateUrl);
    }
    m_gatekeeper.admitPage(updateUrl);
    // The agent ends whether or not the page could be opened.
    platform::current().userInterface().openURL(updateUrl);
    platform::exitProcess(EXIT_SUCCESS);
}
