// SPDX-License-Identifier: MIT
// What an administrator's policy does to links, connections and pages.
#include "ZqMacClient/ZqGatekeeper.h"
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqClient.h"
#include "tests/support/MemoryTrust.h"
#include "tests/support/RestEvents.h"

namespace {

using platform::ManagedPolicy;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string path = "/etc/quillet/policy.json";

class ZqGatekeeperTest : public PlatformTest {
protected:
    ZqGatekeeperTest() {
        for (const char* const host : {"h", "sign.example.org"}) {
            memory.network().answer("https://" + std::string(host) + ":443/update/version?os=macos",
                R"({"value":"1.9"})");
        }
    }

    void setPolicy(const std::string& text) {
        trust.policy = {ManagedPolicy::State::present, path, text, {}};
    }
    void setServers(const std::string& list) {
        setPolicy(R"({"version":1,"servers":)" + list + "}");
    }

    /// A link as the program handles it: the update check, then the connection.
    Events following(const std::string& link) {
        return eventsOf([&] {
            controller.checkForUpdates(link);
            controller.connectToServer(link);
        });
    }
    Events offering(const std::string& page) {
        return eventsOf([&] {
            controller.checkForUpdates("quillet://h?roomId=1");
            controller.displayUpgradeNotification("2.0", page);
        });
    }
    bool isOpened() { return !memory.userInterface().openedUrls.empty(); }

    static bool hasTraffic(const Events& events) {
        return std::any_of(events.begin(), events.end(), [](const std::string& event) {
            return event.starts_with("request: ") || event.starts_with("connect: ");
        });
    }
    static Events refusal(const std::string& server) {
        return joined(Events{"log: Policy: " + server + " is refused"},
            fatalAlert("Server not allowed",
                server
                    + " is not among the signing servers that this computer's administrator"
                      " allows."));
    }
    static std::string inForce(const std::string& rules) {
        return "log: Policy: " + path + " is in force: " + rules;
    }

    MemoryTrust trust{memory};
    ViewController controller{memory.userInterface().statusTextView()};
};

TEST_F(ZqGatekeeperTest, WithoutPolicyNothingIsLoggedOrRuled) {
    const Events events = following("quillet://h?roomId=1");
    EXPECT_TRUE(hasTraffic(events));
    EXPECT_THAT(events, Not(Contains(StartsWith("log: Policy"))));
    EXPECT_FALSE(trust.rule);
}

TEST_F(ZqGatekeeperTest, AListedServerIsConnectedTo) {
    setServers(R"(["sign.example.org"])");
    const Events events = following("quillet://sign.example.org?roomId=1");
    EXPECT_THAT(events,
        Contains(inForce("servers: sign.example.org:443; consent: none;"
                         " content: any; log: full")));
    EXPECT_THAT(events, Contains("log: Policy: sign.example.org:443 is allowed"));
    EXPECT_THAT(events, Contains("connect: sign.example.org:443/room/1"));
    EXPECT_THAT(events, Not(Contains(StartsWith("alert: "))));
}

TEST_F(ZqGatekeeperTest, AnotherServerIsRefusedBeforeAnyTraffic) {
    setServers(R"(["sign.example.org"])");
    EXPECT_THAT(following("quillet://evil.example?roomId=1"),
        ElementsAreArray(joined(statusLine("Checking for application updates..."),
            Events{
                inForce("servers: sign.example.org:443; consent: none; content: any; log: full")},
            refusal("evil.example:443"))));
    EXPECT_EQ(memory.userInterface().alerts.back().alertStyle, platform::NSAlertStyle::critical);
}

TEST_F(ZqGatekeeperTest, TheConnectionAloneIsHeldAgainstThePolicyToo) {
    setServers(R"(["sign.example.org"])");
    const Events events
        = eventsOf([this] { controller.connectToServer("quillet://evil.example?roomId=1"); });
    EXPECT_FALSE(hasTraffic(events));
    EXPECT_EQ(controller.client(), nullptr);
}

TEST_F(ZqGatekeeperTest, AMalformedLinkIsToldAsEver) {
    setServers("[]");
    EXPECT_THAT(following("quillet://h"),
        ElementsAreArray(joined(statusLine("Checking for application updates..."),
            fatalAlert("Error", "Could not parse server URL: quillet://h"))));
}

TEST_F(ZqGatekeeperTest, NoCraftedLinkSlipsPast) {
    trust.asciiNames = {{"evil。example", "evil.example"}};
    setServers(R"(["sign.example.org", "*.eu.example.org", "[::1]"])");
    for (const char* const server : {"sign.example.org:8443", "sign.example.org:0443%",
             "sign.example.org@evil.example", "sign.example.org%40evil.example",
             "user@sign.example.org", "user:pw@sign.example.org", "@sign.example.org",
             "evil.example%2Fsign.example.org", "evil.example%23.eu.example.org",
             "evil.example%5C.eu.example.org", "eu.example.org", "a.b.eu.example.org",
             "evilsign.example.org", "sign.example.org.evil.example", "sign.example.org%00",
             "[::2]", "[::1]:8443", "[::ffff:0:1]", "0.0.0.1", "", "evil%E3%80%82example",
             "sign.example.org..", "sign%252Eexample.org.evil.example", "SIGN.EXAMPLE.ORG:80"}) {
        const Events events = following("quillet://" + std::string(server) + "/p?roomId=1");
        EXPECT_FALSE(hasTraffic(events)) << server;
        EXPECT_EQ(events.back(), "exit: 1") << server;
    }
}

TEST_F(ZqGatekeeperTest, TheSameServerInOtherLettersIsAllowed) {
    setServers(R"(["sign.example.org", "*.eu.example.org", "[::1]:8443"])");
    for (const char* const server : {"SIGN.example.org", "sign.example.org.", "sign%2Eexample.org",
             "sign.example.org:443", "x.eu.example.org", "[0:0:0:0:0:0:0:1]:8443"}) {
        const Events events = eventsOf(
            [&] { controller.connectToServer("quillet://" + std::string(server) + "?roomId=1"); });
        EXPECT_TRUE(hasTraffic(events)) << server;
    }
}

TEST_F(ZqGatekeeperTest, ALinkWithAUserIsRefusedEvenToAListedServer) {
    setServers(R"(["sign.example.org"])");
    EXPECT_THAT(following("quillet://user@sign.example.org?roomId=1"),
        Contains("alert: Server not allowed | The link to sign.example.org:443 names a user, and"
                 " this computer's administrator allows no such links."));
}

TEST_F(ZqGatekeeperTest, AnAtSignBehindTheAuthorityIsNoUser) {
    setServers(R"(["sign.example.org"])");
    for (const char* const rest : {"/a@b?roomId=1", "?roomId=a@b", "?roomId=1#@"}) {
        const Events events = eventsOf(
            [&] { controller.connectToServer("quillet://sign.example.org" + std::string(rest)); });
        EXPECT_TRUE(hasTraffic(events)) << rest;
    }
}

TEST_F(ZqGatekeeperTest, WithoutServersAnyLinkIsFollowed) {
    setPolicy(R"({"version":1})");
    EXPECT_TRUE(hasTraffic(following("quillet://user@h?roomId=1")));
    EXPECT_FALSE(trust.rule);
}

TEST_F(ZqGatekeeperTest, ThePolicyIsReadAnewForEachLink) {
    setServers(R"(["sign.example.org"])");
    following("quillet://sign.example.org?roomId=1");
    setServers(R"(["h"])");
    EXPECT_FALSE(hasTraffic(following("quillet://sign.example.org?roomId=1")));
    EXPECT_TRUE(hasTraffic(following("quillet://h?roomId=1")));
    trust.policy.state = ManagedPolicy::State::absent;
    EXPECT_TRUE(hasTraffic(following("quillet://sign.example.org?roomId=1")));
    EXPECT_FALSE(trust.rule);
}

TEST_F(ZqGatekeeperTest, TheNetworkHoldsEveryConnectionAgainstTheList) {
    setServers(R"(["sign.example.org"])");
    following("quillet://sign.example.org?roomId=1");
    const auto& rule = trust.rule;
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule({"sign.example.org", false, {}}, 443), std::nullopt);
    EXPECT_THAT(eventsOf([&] {
        EXPECT_EQ(rule({"::1", true, {}}, 8443),
            "[::1]:8443 is not among the signing servers that this computer's administrator"
            " allows.");
    }),
        ElementsAre("log: Policy: no connection to [::1]:8443"));
}

TEST_F(ZqGatekeeperTest, ARefusedRedirectIsToldAsARefusedServer) {
    setServers(R"(["h"])");
    controller.connectToServer("quillet://h?roomId=1");
    const std::string words = trust.rule({"evil.example", false, {}}, 443).value_or("");
    memory.network().answers["https://h:443/update/version?os=macos"]
        = {std::nullopt, std::nullopt, platform::TransportError{words}};
    EXPECT_THAT(
        following("quillet://h?roomId=1"), Contains("alert: Server not allowed | " + words));
    memory.network().answers["https://h:443/update/version?os=macos"]
        = {std::nullopt, std::nullopt, platform::TransportError{"another"}};
    EXPECT_THAT(following("quillet://h?roomId=1"),
        Contains("alert: Error checking for Quillet updates | another"));
}

TEST_F(ZqGatekeeperTest, APlatformWithoutAdministratorHasNoPolicy) {
    setServers("[]");
    const platform::PlatformScope scope(memory);
    EXPECT_EQ(platform::trust(), nullptr);
    EXPECT_TRUE(hasTraffic(following("quillet://h?roomId=1")));
}

TEST_F(ZqGatekeeperTest, APolicyThatCannotBeReadRefusesEveryLink) {
    trust.policy = {ManagedPolicy::State::unusable, path, "The file belongs to user 1000.", {}};
    EXPECT_THAT(following("quillet://h?roomId=1"),
        ElementsAreArray(joined(statusLine("Checking for application updates..."),
            Events{"log: Policy: " + path + " cannot be used"},
            fatalAlert(
                "The signing policy cannot be used", path + ": The file belongs to user 1000."))));
}

TEST_F(ZqGatekeeperTest, APolicyThatIsNotUnderstoodRefusesEveryLink) {
    setPolicy(R"({"version":1,"server":["h"]})");
    const Events events = following("quillet://h?roomId=1");
    EXPECT_FALSE(hasTraffic(events));
    EXPECT_THAT(events,
        Contains("alert: The signing policy cannot be used | " + path
            + ": \"server\" is not a key of a signing policy."));
    EXPECT_EQ(events.back(), "exit: 1");
}

TEST_F(ZqGatekeeperTest, RemarksOfThePlatformAreLogged) {
    trust.policy.remarks = {"\"servers\" is ignored"};
    EXPECT_THAT(following("quillet://h?roomId=1"), Contains("log: Policy: \"servers\" is ignored"));
}

// Sessions

TEST_F(ZqGatekeeperTest, ASessionBeginsInTheNameOfItsServerWithoutAPolicyToo) {
    trust.asciiNames = {{"bücher.example", "xn--bcher-kva.example"}};
    const auto shown = [this](const std::string& link) {
        following(link);
        return trust.servers.empty() ? "none" : trust.servers.back();
    };
    EXPECT_EQ(shown("quillet://h?roomId=1"), "h");
    EXPECT_EQ(shown("quillet://h:443/a?roomId=1"), "h");
    EXPECT_EQ(shown("quillet://h:8443/a?roomId=1"), "h:8443");
    EXPECT_EQ(shown("quillet://H.Example.?roomId=1"), "h.example");
    EXPECT_EQ(shown("quillet://bank.example@evil.example?roomId=1"), "evil.example");
    EXPECT_EQ(shown("quillet://%68?roomId=1"), "h");
    EXPECT_EQ(shown("quillet://[::1]:8443?roomId=1"), "[::1]:8443");
    EXPECT_EQ(shown("quillet://b%C3%BCcher.example?roomId=1"), "xn--bcher-kva.example");
    EXPECT_EQ(shown("quillet://h:70000?roomId=1"), "");
    EXPECT_EQ(shown("quillet://h:99999999999999999999?roomId=1"), "");
    EXPECT_EQ(shown("quillet://?roomId=1"), "");
    EXPECT_TRUE(trust.hasLockedTokens);
    following("quillet://h?roomId=r%31");
    EXPECT_EQ(trust.roomCodes.back(), "023174");
}

TEST_F(ZqGatekeeperTest, ARefusedServerBeginsNoSession) {
    setServers(R"(["h"])");
    following("quillet://evil.example?roomId=1");
    EXPECT_THAT(trust.servers, IsEmpty());
}

TEST_F(ZqGatekeeperTest, TokensAreLockedAfterTheMinutesWithoutUse) {
    setPolicy(R"({"version":1,"idleMinutes":15})");
    const ZqGatekeeper gatekeeper = ZqGatekeeper::ofThisComputer();
    EXPECT_FALSE(trust.laterWork);
    gatekeeper.noteUse();
    EXPECT_EQ(trust.laterTime, std::chrono::minutes(15));
    ASSERT_TRUE(trust.laterWork);
    EXPECT_FALSE(trust.hasLockedTokens);
    EXPECT_THAT(eventsOf([this] { trust.laterWork(); }),
        ElementsAre("log: Policy: idle for 15 min, tokens are locked"));
    EXPECT_TRUE(trust.hasLockedTokens);
}

TEST_F(ZqGatekeeperTest, ANewSessionEndsTheWaitOfTheOneBefore) {
    setPolicy(R"({"version":1,"idleMinutes":15})");
    ZqGatekeeper::ofThisComputer().noteUse();
    trust.policy.state = ManagedPolicy::State::absent;
    following("quillet://h?roomId=1");
    EXPECT_FALSE(trust.laterWork);
}

TEST_F(ZqGatekeeperTest, WithoutMinutesTokensStayAsTheyAre) {
    ZqGatekeeper().noteUse();
    setPolicy(R"({"version":1})");
    ZqGatekeeper::ofThisComputer().noteUse();
    EXPECT_FALSE(trust.laterWork);
}

// The download page

TEST_F(ZqGatekeeperTest, WithoutDownloadsAnyPageIsOpened) {
    setServers(R"(["h"])");
    offering("https://get.example.org/q");
    EXPECT_TRUE(isOpened());
}

TEST_F(ZqGatekeeperTest, AListedPageIsOpened) {
    setPolicy(R"({"version":1,"downloads":["get.example.org","plain.example.org:80"]})");
    EXPECT_THAT(offering("https://get.example.org/q"),
        Contains("log: Policy: the page at get.example.org:443 is allowed"));
    EXPECT_TRUE(isOpened());
    memory.userInterface().openedUrls.clear();
    offering("HTTPS://get.example.org/");
    EXPECT_TRUE(isOpened());
    memory.userInterface().openedUrls.clear();
    offering("http://plain.example.org/");
    EXPECT_TRUE(isOpened());
}

TEST_F(ZqGatekeeperTest, AnotherPageIsNotOpened) {
    setPolicy(R"({"version":1,"downloads":["get.example.org"]})");
    EXPECT_THAT(offering("https://evil.example/q"),
        Contains("alert: Server not allowed | evil.example:443 is not among the download pages"
                 " that this computer's administrator allows."));
    for (const char* const page :
        {"https://get.example.org@evil.example/", "https://user@get.example.org/",
            "http://get.example.org/", "HTTPS://get.example.org:80/",
            "https://get.example.org:8443/", "https:get.example.org", "https:///get.example.org",
            "//evil.example/", "get.example.org/q", "javascript:alert(1)",
            "https://get.example.org.evil.example/", "https://evil.example%2F@get.example.org"}) {
        EXPECT_EQ(offering(page).back(), "exit: 1") << page;
    }
    EXPECT_FALSE(isOpened());
}

TEST_F(ZqGatekeeperTest, AnIgnoredUpdateIsNotHeldAgainstAnything) {
    setPolicy(R"({"version":1,"downloads":[]})");
    memory.userInterface().responses = {platform::NSAlertFirstButtonReturn + 1};
    EXPECT_THAT(offering("https://evil.example/"), Not(Contains(StartsWith("exit: "))));
}

} // namespace
