// SPDX-License-Identifier: MIT
// Random whole sessions of the program, from the link to the end of the process, against a small
// model of what must happen.
//   QUILLET_SESSIONS=100000 QUILLET_SEED=7 differential_tests
#include "ZqMacClient/MainInterface.h"
#include "ZqMacClient/ZqClient.h"
#include "tests/differential/Model.h"
#include "tests/support/MemoryPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

using namespace differential;

void fill(MemoryPlatform& memory, const Scenario& scenario) {
    using platform::PropertyArray;
    using platform::PropertyDictionary;
    ScriptedKeychain& keychain = memory.security();
    const auto names = [](const std::vector<std::string>& texts) {
        PropertyArray parts;
        for (const std::string& text : texts) {
            parts.push_back(PropertyDictionary{{"type", "string"}, {"value", text}});
        }
        return PropertyDictionary{{"type", "section"}, {"value", std::move(parts)}};
    };
    for (const Identity& identity : scenario.identities) {
        ScriptedIdentity& scripted = keychain.identities.emplace_back();
        scripted.name = identity.name;
        scripted.der = {identity.der.begin(), identity.der.end()};
        scripted.dataKey = identity.hasOldDataKey ? "certdata" : "v_Data";
        scripted.serial = identity.serial
            ? std::optional(Bytes(identity.serial->begin(), identity.serial->end()))
            : std::nullopt;
        PropertyDictionary values;
        if (identity.issuer) {
            values.set(platform::kSecOIDX509V1IssuerName, names(*identity.issuer));
        }
        if (identity.commonName) {
            values.set(platform::kSecOIDCommonName,
                PropertyDictionary{{"value", PropertyArray{*identity.commonName, "second"}}});
        }
        if (identity.subject) {
            values.set(platform::kSecOIDX509V1SubjectName, names(*identity.subject));
        }
        scripted.values = identity.hasValues ? std::optional(std::move(values)) : std::nullopt;
        scripted.keyStatus = identity.fails ? -1 : platform::errSecSuccess;
        scripted.hasKey = identity.hasKey;
    }
    keychain.defaultKeychainStatus = scenario.keychainOpens ? platform::errSecSuccess : -1;
    if (scenario.queryFails) {
        keychain.matching = {platform::errSecItemNotFound, std::nullopt};
    }
    keychain.algorithmSupported = scenario.algorithmSupported;
    keychain.signature = {std::nullopt, scenario.signatureError};
    if (scenario.signature) {
        keychain.signature.signature
            = Bytes(scenario.signature->begin(), scenario.signature->end());
    }
    const auto answerWith = [&](const std::string& url, const Answer& answer) {
        if (answer.kind == Answer::Kind::lost) {
            memory.network().answers[url]
                = {std::nullopt, std::nullopt, platform::TransportError{answer.body}};
        } else {
            memory.network().answer(url, answer.body);
        }
    };
    answerWith(versionUrl(scenario), scenario.versionAnswer);
    answerWith(bundleUrl(scenario), scenario.bundleAnswer);
    memory.userInterface().responses
        = {platform::NSAlertFirstButtonReturn + (scenario.acceptsUpgrade ? 0 : 1)};
    if (scenario.linkIsArgument) {
        memory.system().processArguments.push_back(scenario.link.text);
    }
}

void serve(MemoryPlatform& memory, const Scenario& scenario) {
    MemoryWebSocket& server = *memory.network().webSockets.at(0);
    if (scenario.webSocketOpens) {
        server.open();
    }
    std::string stream;
    if (scenario.isGreeted) {
        stream = "CONNECTED\n"
            + (scenario.stompVersion.empty() ? "" : "version:" + scenario.stompVersion + "\n")
            + "\n" + std::string(1, '\0');
    }
    for (const ServerFrame& frame : scenario.frames) {
        stream += frame.wire;
    }
    for (std::size_t cut = 0; scenario.webSocketOpens && !stream.empty(); ++cut) {
        const std::size_t length = scenario.cuts[cut % scenario.cuts.size()];
        server.receive(stream.substr(0, length));
        stream.erase(0, length);
        memory.application().runPending();
    }
    server.lose("gone");
    memory.application().runPending();
}

std::vector<std::string> realEvents(const Scenario& scenario) {
    MemoryPlatform memory;
    fill(memory, scenario);
    MainInterface program;
    try {
        memory.application().run(program);
        if (!scenario.linkIsArgument) {
            memory.application().openURL(scenario.link.text);
        }
        serve(memory, scenario);
    } catch (const ProcessExit&) {
    } catch (const ProcessAbort&) { }
    return memory.trace.events();
}

bool agree(const std::string& expected, const std::string& real) {
    const std::size_t open = expected.find(anyWords);
    return open == std::string::npos ? expected == real
                                     : real.starts_with(expected.substr(0, open));
}

/// The first difference in words; empty when there is none.
std::string difference(
    const std::vector<std::string>& expected, const std::vector<std::string>& real) {
    for (std::size_t i = 0; i < std::max(expected.size(), real.size()); ++i) {
        const std::string should = i < expected.size() ? expected[i] : "(nothing)";
        const std::string is = i < real.size() ? real[i] : "(nothing)";
        if (!agree(should, is)) {
            return "event " + std::to_string(i) + "\n  expected: " + should + "\n  happened: " + is;
        }
    }
    return {};
}

std::uint64_t setting(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

} // namespace

TEST(RandomSessions, HappenAsTheModelTells) {
    const std::uint64_t first = setting("QUILLET_SEED", 1);
    const std::uint64_t count = setting("QUILLET_SESSIONS", 2000);
    std::size_t served = 0;
    std::size_t signatures = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const Scenario scenario = makeScenario(seed);
        const std::vector<std::string> expected = expectedEvents(scenario);
        const std::string different = difference(expected, realEvents(scenario));
        ASSERT_EQ(different, "") << "repeat with QUILLET_SEED=" << seed << " QUILLET_SESSIONS=1";
        served += std::size_t{expected.back() == "exit: 0"};
        for (const std::string& event : expected) {
            signatures += std::size_t{event.starts_with("SecKeyCreateSignature")};
        }
    }
    // A generator of sessions that all fail early would prove little.
    EXPECT_GT(served * 10, count);
    EXPECT_GT(signatures * 10, count);
}
