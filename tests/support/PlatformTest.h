// SPDX-License-Identifier: MIT
// The fixture of tests over the platform in memory, and the vocabulary of its events. On it stand
// SessionFixture.h (a session with a server) and on that SigningTest.h (with a key to sign with),
// KeychainTest.h (the keychain's listing) and StompClientTest.h (the connection alone).
#pragma once

#include "tests/support/MemoryPlatform.h"
#include "tests/support/ProcessEnd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using Events = std::vector<std::string>;

template <typename... Others>
Events joined(Events first, const Others&... others) {
    (first.insert(first.end(), others.begin(), others.end()), ...);
    return first;
}

/// A line appended to the status view: it is logged as well.
inline Events statusLine(const std::string& text) {
    return {"log: " + text, "status: " + text + "\n"};
}

/// An alert that ends the process.
inline Events fatalAlert(const std::string& message, const std::string& details) {
    return {"log: FATAL ERROR: " + message + ", details: " + details,
        "alert: " + message + " | " + details, "dismissed",
        "log: Exiting application after fatal error", "exit: 1"};
}

/// After exactly the given events an assumption of the program fails: a diagnostic, then the abort.
MATCHER_P(AbortsAfter, before, "") {
    const Events& events = arg;
    const Events& expected = before;
    if (events.size() != expected.size() + 2 || events.back() != "abort"
        || !events[expected.size()].starts_with("log: Fatal error: ")) {
        *result_listener << "which does not end in a fatal error after "
                         << testing::PrintToString(expected);
        return false;
    }
    return std::equal(expected.begin(), expected.end(), events.begin());
}

/// An assumption of the program fails, whatever came before; the user is not asked anything.
MATCHER(Aborts, "") {
    const Events& events = arg;
    return events.size() >= 2 && events.back() == "abort"
        && events[events.size() - 2].starts_with("log: Fatal error: ")
        && std::none_of(events.begin(), events.end(),
            [](const std::string& event) { return event.starts_with("alert: "); });
}

class PlatformTest : public testing::Test {
protected:
    /// What happens during `work`, in order. The end of the process ends the work.
    template <typename Work>
    Events eventsOf(Work&& work) {
        const std::size_t before = memory.trace.events().size();
        try {
            std::forward<Work>(work)();
        } catch (const ProcessExit&) {
        } catch (const ProcessAbort&) { }
        const Events& all = memory.trace.events();
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }

    /// What happened since it was last asked or forgotten.
    Events happened() {
        Events events = memory.trace.events();
        forget();
        return events;
    }
    void forget() { memory.trace = {}; }
    /// Nothing but this happened, and then an assumption of the program failed.
    void expectFatalEnd(const Events& before) { EXPECT_THAT(happened(), AbortsAfter(before)); }

    /// The server's end of the connection that was made last; what it does is handled at once.
    MemoryWebSocket& server() {
        const auto& connections = memory.network().webSockets;
        return *connections.at(connections.size() - 1);
    }
    void open(const std::string& subprotocol = {}) {
        server().open(subprotocol);
        memory.application().runPending();
    }
    void receive(const std::string& data) {
        server().receive(data);
        memory.application().runPending();
    }
    void lose(const std::string& reason) {
        server().lose(reason);
        memory.application().runPending();
    }

    void setProgramVersion(const char* version) {
        memory.system().info.clear();
        memory.system().info.emplace("CFBundleShortVersionString", version);
    }

    MemoryPlatform memory;
    ScriptedKeychain& keychain = memory.security();
};
