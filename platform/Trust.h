// SPDX-License-Identifier: MIT
// What an administrator rules over signing, and what a platform does so that it is followed.
#pragma once

#include "platform/UserInterface.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// What the administrator of this computer has laid down about signing.
struct ManagedPolicy {
    enum class State { absent, present, unusable };
    State state = State::absent;
    std::string source = {}; // where it stands, or would: a path, or words
    std::string text = {}; // a JSON object when present, the cause when unusable
    std::vector<std::string> remarks = {}; // for the log
};

/// A host in the one form in which hosts are compared.
struct NetworkHost {
    std::string name; // A-labels in lower case without a trailing dot, or an address
    bool isAddress = false;
    std::string display; // for people: an international name in its own letters

    /// Host and port as a URL has them.
    std::string authority(std::uint64_t port) const {
        const bool isBare = name.find(':') == std::string::npos;
        return (isBare ? name : '[' + name + ']') + ':' + std::to_string(port);
    }
    friend bool operator==(const NetworkHost&, const NetworkHost&) = default;
};

/// Words that refuse a connection, or nothing. Called on any thread.
using ConnectionRule
    = std::function<std::optional<std::string>(const NetworkHost& host, std::uint64_t port)>;

/// How long a question of trust stands before it can be agreed to.
inline constexpr std::chrono::milliseconds guardedFor{1000};

/// What a platform answers that lets an administrator rule; a platform without it has no policy.
class Trust {
public:
    virtual ~Trust() = default;

    /// Read anew by each call. Only what is certain not to be there is absent.
    virtual ManagedPolicy managedPolicy() = 0;

    /// The host that a connection to `host` (a name, or an address with or without brackets) would
    /// go to; nothing when there can be no such connection.
    virtual std::optional<NetworkHost> hostToConnect(const std::string& host) = 0;

    /// Asked before anything is done for a connection, a redirect's included; its words are the
    /// error of the connection. A null one allows all.
    virtual void setConnectionRule(ConnectionRule rule) = 0;

    /// Asks a question of trust, which has two buttons: whether the first was pressed. The last is
    /// the default one and the answer to everything else; the first can be pressed only after
    /// `guardedFor`. Blocks as an alert does.
    virtual bool agrees(const NSAlert& question) = 0;

    /// A session with this server begins ("" when its name is none): windows and password prompts
    /// name it, tokens that were unlocked for the one before are locked, and what the user refused
    /// then is asked for again. `roomCode` gives what tells its room from others, and is called
    /// only where that is shown. Main thread, as the two below.
    virtual void beginSession(
        const std::string& server, const std::function<std::string()>& roomCode)
        = 0;

    /// Locks all tokens: whoever uses one next is asked for its password.
    virtual void lockTokens() = 0;

    /// Runs `work` on the main thread, between other events, once so much time has passed. Whatever
    /// an earlier call left to be done is not done any more; nor is anything for a null `work`.
    virtual void later(std::chrono::milliseconds time, std::function<void()> work) = 0;
};

/// Of the installed platform, or null.
Trust* trust();

} // namespace platform
