// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqGatekeeper.h"
#include "foundation/URLComponents.h"
#include "platform/UserInterface.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

class ZqClient;

/// A custom URL that names a room of a server.
struct ServerUrl {
    URLComponents components;
    std::string roomId;
};

/// The controller of the only window. Main thread.
class ViewController {
public:
    /// The controller whose view has loaded, or null.
    static ViewController* viewController;

    /// `statusTextView` may be null as long as nothing is appended.
    explicit ViewController(platform::NSTextView* statusTextView);
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;
    ~ViewController();

    /// Publishes this controller in `viewController`.
    void viewDidLoad();

    /// Logs a line and appends it to the status view.
    void appendText(std::string_view text);

    /// Takes a custom URL apart: scheme "quillet" and a "roomId" item are required. What is no such
    /// URL is shown to the user and ends the process.
    ServerUrl parseServerUrl(const std::string& serverUrl);

    /// Starts a session with the server that a custom URL names, in place of any earlier one, which
    /// is dropped without being told to disconnect.
    void connectToServer(const std::string& serverUrl);

    /// Asks the server of a custom URL for the latest version, and offers it when it is later than
    /// this one. Returns unless the user accepts or a request fails.
    void checkForUpdates(const std::string& serverUrl);

    /// Offers an upgrade; accepting opens the page and ends the process with status 0.
    void displayUpgradeNotification(const std::string& latestVersion, const std::string& updateUrl);

    const std::shared_ptr<ZqClient>& client() const { return m_client; }
    /// With the policy that was in force when the last link came.
    const ZqGatekeeper& gatekeeper() const { return m_gatekeeper; }

private:
    /// `parseServerUrl`, and what the administrator says about the server.
    ServerUrl admit(const std::string& serverUrl);

    ZqGatekeeper m_gatekeeper;
    std::shared_ptr<ZqClient> m_client;
    platform::NSTextView* m_statusTextView;
};
