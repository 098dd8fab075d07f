// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqPolicy.h"
#include "platform/Trust.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Holds what a link and its server want against the policy of this computer's administrator. What
/// is not allowed is shown to the user and ends the process with status 1. Without a policy nothing
/// is asked and nothing is logged. Main thread.
class ZqGatekeeper {
public:
    /// As if there were no policy.
    ZqGatekeeper() = default;

    /// Reads the policy anew, and has the network and the log follow it from now on. One that
    /// cannot be used ends the process.
    static ZqGatekeeper ofThisComputer();

    /// `link` has passed the parser.
    void admitServer(const std::string& link) const;
    /// The server of `link` is admitted: from now on the user is asked in its name.
    static void beginSession(const std::string& link, const std::function<std::string()>& roomCode);
    /// A server that is about to be given a list of certificates or a signature.
    void admitServer(const platform::NetworkHost& server, std::uint64_t port) const;
    /// A page that is about to be opened; `url` forms a URL.
    void admitPage(const std::string& url) const;

    /// The host of a link as the network reads it; one that it cannot read leads nowhere.
    static platform::NetworkHost serverOf(const std::string& host);
    /// Whether these are the words in which the network was last told not to connect.
    static bool hasRefused(const std::string& words);

    /// A token has been used, or could have been: counts from now how long none is.
    void noteUse() const;

    /// Null when there is none.
    const std::shared_ptr<const ZqPolicy>& policy() const { return m_policy; }

private:
    std::shared_ptr<const ZqPolicy> m_policy;
};
