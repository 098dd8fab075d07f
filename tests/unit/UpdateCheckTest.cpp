// SPDX-License-Identifier: MIT
// The check for a later version, and the offer of it.
#include "ZqMacClient/ViewController.h"

#include "tests/support/RestEvents.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string base = "https://h:443";
const std::string versionUrl = base + "/update/version?os=macos";
const std::string pageUrl = "https://pages.example/download?v=2";
const std::string versionAction = "checking for Quillet updates";
const std::string bundleAction = "getting Quillet update download URL";

class UpdateCheckTest : public PlatformTest {
protected:
    /// The versions are `1.9`, installed, and `latest`; the server's address for it is `pageUrl`.
    void offer(const std::string& latest) {
        memory.network().answer(versionUrl, R"({"value":")" + latest + "\"}");
        memory.network().answer(bundleUrl(latest), R"({"value":")" + pageUrl + "\"}");
    }
    Events checking(const std::string& url = "quillet://h?roomId=1") {
        return eventsOf([&] { controller.checkForUpdates(url); });
    }
    Events prompting(const std::string& page) {
        return eventsOf([&] { controller.displayUpgradeNotification("2.0", page); });
    }
    static std::string bundleUrl(const std::string& latest) {
        return base + "/update/bundle?os=macos&version=" + latest;
    }
    static Events firstLine() { return statusLine("Checking for application updates..."); }
    static Events upToTheVersions(const std::string& latest) {
        return joined(firstLine(), valueRequest(versionUrl, versionAction, latest),
            Events{"log: Installed Quillet version: 1.9",
                "log: Latest available Quillet version: " + latest});
    }
    static Events prompt(const std::string& latest) {
        return joined(statusLine("New version available: " + latest),
            Events{"alert: Please upgrade Quillet | Newer version is available: " + latest,
                "dismissed"});
    }
    static Events opening(const std::string& page) {
        return {"log: Opening download update page: " + page, "open: " + page, "exit: 0"};
    }

    ViewController controller{memory.userInterface().statusTextView()};
};

constexpr int ignore = platform::NSAlertFirstButtonReturn + 1;

// The check

TEST_F(UpdateCheckTest, UpToDateInOrder) {
    offer("1.9");
    EXPECT_THAT(checking(),
        ElementsAreArray(
            joined(upToTheVersions("1.9"), statusLine("No application updates found."))));
}

TEST_F(UpdateCheckTest, LaterVersionIsOfferedInOrder) {
    offer("1.10");
    memory.userInterface().responses = {ignore};
    EXPECT_THAT(checking(),
        ElementsAreArray(joined(upToTheVersions("1.10"),
            valueRequest(bundleUrl("1.10"), bundleAction, pageUrl), prompt("1.10"))));
}

TEST_F(UpdateCheckTest, OnlyAStrictlyEarlierInstalledVersionIsUpgraded) {
    struct Versions {
        const char* installed;
        const char* latest;
        bool offered;
    };
    for (const Versions& versions : {Versions{"1.9", "1.10", true}, Versions{"1.10", "1.9", false},
             Versions{"1.9", "1.9", false}, Versions{"1.9", "1.09", false},
             Versions{"1.9", "1.9.1", true}, Versions{"2", "1.9", false},
             Versions{"1.9", "2.0", true}, Versions{"1.9", "", false}}) {
        setProgramVersion(versions.installed);
        offer(versions.latest);
        memory.userInterface().responses = {ignore};
        memory.userInterface().alerts.clear();
        const Events events = checking();
        EXPECT_EQ(memory.userInterface().alerts.size(), versions.offered ? 1U : 0U)
            << versions.installed << " and " << versions.latest;
        EXPECT_THAT(
            events, Contains(std::string("log: Installed Quillet version: ") + versions.installed));
    }
}

TEST_F(UpdateCheckTest, PortAndPathOfTheCustomUrlLeadToBothEndpoints) {
    const std::string address = "https://sign.example:8443/pre/fix";
    memory.network().answer(address + "/update/version?os=macos", R"({"value":"2.0"})");
    memory.network().answer(
        address + "/update/bundle?os=macos&version=2.0", R"({"value":"https://p"})");
    memory.userInterface().responses = {ignore};
    checking("quillet://sign.example:8443/pre/fix?roomId=1");
    EXPECT_THAT(memory.network().requestedUrls,
        ElementsAre(
            address + "/update/version?os=macos", address + "/update/bundle?os=macos&version=2.0"));
}

TEST_F(UpdateCheckTest, WithoutPortAndPathTheEndpointFollowsThePort) {
    offer("1.9");
    checking("quillet://h?roomId=1");
    EXPECT_THAT(
        memory.network().requestedUrls, ElementsAre("https://h:443/update/version?os=macos"));
}

TEST_F(UpdateCheckTest, DecodedPartsAreEncodedAgain) {
    checking("quillet://h/a%20b/%C3%A9?roomId=1");
    checking("quillet://[::1]:1/?roomId=1");
    checking("quillet://b%C3%BCro/x?roomId=1");
    checking("quillet://a%3Ab?roomId=1");
    EXPECT_THAT(memory.network().requestedUrls,
        ElementsAre("https://h:443/a%20b/%C3%A9/update/version?os=macos",
            "https://[::1]:1//update/version?os=macos",
            "https://b%C3%BCro:443/x/update/version?os=macos",
            "https://a%3Ab:443/update/version?os=macos"));
}

TEST_F(UpdateCheckTest, RoomIsNotPartOfTheAddress) {
    checking("quillet://h?roomId=secret&os=x#f");
    EXPECT_THAT(memory.network().requestedUrls, ElementsAre(versionUrl));
}

TEST_F(UpdateCheckTest, MalformedUrlEndsTheProgramBeforeAnyRequest) {
    EXPECT_THAT(checking("quillet://h"),
        ElementsAreArray(
            joined(firstLine(), fatalAlert("Error", "Could not parse server URL: quillet://h"))));
}

TEST_F(UpdateCheckTest, EmptyHostIsAsked) {
    checking("quillet://?roomId=1");
    EXPECT_THAT(
        memory.network().requestedUrls, ElementsAre("https://:443/update/version?os=macos"));
}

TEST_F(UpdateCheckTest, MissingHostStopsTheProgram) {
    EXPECT_THAT(checking("quillet:?roomId=1"), AbortsAfter(firstLine()));
}

TEST_F(UpdateCheckTest, PartsThatAreNoTextOrNoNumberStopTheProgramWithoutAnAlert) {
    for (const char* const url : {"quillet://%FF?roomId=1", "quillet://h/%FF?roomId=1",
             "quillet://h:18446744073709551616?roomId=1"}) {
        EXPECT_THAT(checking(url), AbortsAfter(firstLine())) << url;
    }
}

TEST_F(UpdateCheckTest, HostWithWhatStandsInNoUrlStopsTheProgramWithoutAnAlert) {
    for (const char* const host : {"a%20b", "a%22b", "%3Ca%3E", "a%5Cb", "a%0Ab", "a%7Fb"}) {
        EXPECT_THAT(
            checking("quillet://" + std::string(host) + "?roomId=1"), AbortsAfter(firstLine()))
            << host;
    }
}

TEST_F(UpdateCheckTest, NamesThatBeginWithAnAddressAreAskedAndOpened) {
    checking("quillet://10.0.0.1.example.org?roomId=1");
    EXPECT_THAT(memory.network().requestedUrls,
        ElementsAre("https://10.0.0.1.example.org:443/update/version?os=macos"));
    EXPECT_THAT(prompting("https://1.2.3.4a/"), Contains("open: https://1.2.3.4a/"));
}

TEST_F(UpdateCheckTest, FailedVersionRequestEndsTheProgram) {
    const Events events = checking();
    EXPECT_THAT(events,
        testing::IsSupersetOf(
            fatalAlert("Error checking for Quillet updates", "no answer for " + versionUrl)));
    EXPECT_EQ(events.back(), "exit: 1");
    EXPECT_THAT(events, Not(Contains(HasSubstr("Installed Quillet version"))));
}

TEST_F(UpdateCheckTest, FailedDownloadAddressRequestEndsTheProgram) {
    memory.network().answer(versionUrl, R"({"value":"2.0"})");
    EXPECT_THAT(checking(),
        testing::IsSupersetOf(fatalAlert(
            "Error getting Quillet update download URL", "no answer for " + bundleUrl("2.0"))));
}

TEST_F(UpdateCheckTest, MissingLatestVersionStopsTheProgramAfterTheInstalledOne) {
    memory.network().answer(versionUrl, "{}");
    const Events events = checking();
    EXPECT_THAT(events, Aborts());
    EXPECT_EQ(events.at(events.size() - 3), "log: Installed Quillet version: 1.9");
}

TEST_F(UpdateCheckTest, MissingInstalledVersionStopsTheProgramAfterTheRequest) {
    offer("2.0");
    const std::vector<std::map<std::string, platform::PropertyValue>> dictionaries{
        {}, {{"CFBundleShortVersionString", 1}}};
    for (const auto& info : dictionaries) {
        memory.system().info = info;
        EXPECT_THAT(checking(),
            AbortsAfter(joined(firstLine(), valueRequest(versionUrl, versionAction, "2.0"))));
    }
}

TEST_F(UpdateCheckTest, MissingDownloadAddressStopsTheProgram) {
    offer("2.0");
    memory.network().answer(bundleUrl("2.0"), R"({"value":null})");
    const Events events = checking();
    EXPECT_THAT(events, Aborts());
    EXPECT_THAT(events, Not(Contains("log: New version available: 2.0")));
}

TEST_F(UpdateCheckTest, LatestVersionGoesIntoTheAddressAsItCame) {
    offer("2.0&x=%41+1");
    memory.userInterface().responses = {ignore};
    checking();
    EXPECT_EQ(memory.network().requestedUrls.back(),
        "https://h:443/update/bundle?os=macos&version=2.0&x=%41+1");
}

TEST_F(UpdateCheckTest, PerCentSignsOfTheVersionAreDirectivesInItsStatusLinesLogAlone) {
    offer("2.0%25d");
    memory.userInterface().responses = {ignore};
    EXPECT_THAT(checking(),
        ElementsAreArray(joined(upToTheVersions("2.0%25d"),
            valueRequest(bundleUrl("2.0%25d"), bundleAction, pageUrl),
            Events{"log: New version available: 2.0(null)",
                "status: New version available: 2.0%25d\n",
                "alert: Please upgrade Quillet | Newer version is available: 2.0%25d",
                "dismissed"})));
}

TEST_F(UpdateCheckTest, LatestVersionThatSpoilsTheAddressStopsTheProgram) {
    offer("2.0 beta");
    EXPECT_THAT(checking(), AbortsAfter(upToTheVersions("2.0 beta")));
    EXPECT_THAT(memory.network().requestedUrls, ElementsAre(versionUrl));
}

TEST_F(UpdateCheckTest, DecliningIsNotRemembered) {
    offer("2.0");
    memory.userInterface().responses = {ignore, ignore};
    EXPECT_EQ(checking(), checking());
    EXPECT_EQ(memory.userInterface().alerts.size(), 2U);
    EXPECT_EQ(memory.network().requestedUrls.size(), 4U);
}

TEST_F(UpdateCheckTest, AcceptingEndsTheProgramWithStatusZero) {
    offer("2.0");
    EXPECT_THAT(checking(),
        ElementsAreArray(
            joined(upToTheVersions("2.0"), valueRequest(bundleUrl("2.0"), bundleAction, pageUrl),
                prompt("2.0"), opening(pageUrl))));
}

// The prompt

TEST_F(UpdateCheckTest, PromptIsInformationalWithTwoButtons) {
    memory.userInterface().responses = {ignore};
    prompting(pageUrl);
    const platform::NSAlert& alert = memory.userInterface().alerts.at(0);
    EXPECT_EQ(alert.alertStyle, platform::NSAlertStyle::informational);
    EXPECT_EQ(alert.messageText, "Please upgrade Quillet");
    EXPECT_EQ(alert.informativeText, "Newer version is available: 2.0");
    EXPECT_THAT(alert.buttons, ElementsAre("Download update", "Ignore"));
}

TEST_F(UpdateCheckTest, FirstButtonOpensThePageAndEnds) {
    memory.userInterface().responses = {1000};
    EXPECT_THAT(prompting(pageUrl), ElementsAreArray(joined(prompt("2.0"), opening(pageUrl))));
}

TEST_F(UpdateCheckTest, ProgramEndsAlsoWhenThePageCannotBeOpened) {
    memory.userInterface().canOpenUrls = false;
    EXPECT_THAT(prompting(pageUrl), ElementsAreArray(joined(prompt("2.0"), opening(pageUrl))));
}

TEST_F(UpdateCheckTest, AnyOtherAnswerReturns) {
    for (const int response : {1001, 1002, 999, 0, -1}) {
        memory.userInterface().responses = {response};
        EXPECT_THAT(prompting(pageUrl), ElementsAreArray(prompt("2.0"))) << response;
    }
    EXPECT_THAT(memory.userInterface().openedUrls, IsEmpty());
}

TEST_F(UpdateCheckTest, AddressThatIsNoUrlStopsTheProgramAfterItsLine) {
    for (const std::string page : {"", "no page", "https://h/%"}) {
        EXPECT_THAT(prompting(page),
            AbortsAfter(
                joined(prompt("2.0"), Events{"log: Opening download update page: " + page})));
    }
}

TEST_F(UpdateCheckTest, AnUnusableAddressIsNotMissedWhenTheUserDeclines) {
    memory.userInterface().responses = {ignore};
    EXPECT_THAT(prompting("no page"), ElementsAreArray(prompt("2.0")));
}

} // namespace
