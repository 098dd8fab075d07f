// SPDX-License-Identifier: MIT
#include "ZqMacClient/AppDelegate.h"

#include "ZqMacClient/MainInterface.h"
#include "ZqMacClient/ZqClient.h"
#include "tests/support/RestEvents.h"

namespace {

using platform::AppleEventDescriptor;
using platform::AppleEventParameter;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

const std::string link = "quillet://h/p?roomId=r1";
const std::string versionUrl = "https://h:443/p/update/version?os=macos";

/// A platform on which no link handler can be registered.
class PlatformWithoutRegistration : public MemoryPlatform {
public:
    MemorySystem& system() override { return m_refusing; }

private:
    class RefusingSystem : public MemorySystem {
    public:
        using MemorySystem::MemorySystem;
        std::int32_t LSSetDefaultHandlerForURLScheme(
            const std::string& scheme, const std::string& bundleIdentifier) override {
            MemorySystem::LSSetDefaultHandlerForURLScheme(scheme, bundleIdentifier);
            return -1;
        }
    };

    RefusingSystem m_refusing{trace};
};

class AppDelegateTest : public PlatformTest {
protected:
    AppDelegateTest() { memory.network().answer(versionUrl, R"({"value":"1.9"})"); }

    void pass(const std::string& argument) {
        memory.system().processArguments = {"/opt/ZqMacClient", argument};
    }
    /// A whole launch with the main window.
    Events launching() {
        return eventsOf([this] { memory.application().run(mainInterface); });
    }
    Events opening(const std::string& text) {
        return eventsOf([&] { memory.application().openURL(text); });
    }
    Events receiving(const AppleEventDescriptor* event) {
        return eventsOf([&] { memory.application().sendEvent(event); });
    }

    static Events registration() {
        return {"reopen standard error: /tmp/Quillet.log a+", "event handler set",
            "default handler: quillet com.quillet.ZqMacClient",
            "SecKeychainSetUserInteractionAllowed true"};
    }
    /// The start-up up to the command line, which shows the parameters.
    static Events startUp(const std::string& parameters) {
        return joined(registration(), statusLine("Starting Quillet version 1.9."),
            statusLine("Running on macOS 13.6.0."),
            Events{"log: Command line parameters " + parameters});
    }
    /// The update check and the connection for `link`.
    static Events session() {
        return joined(statusLine("Checking for application updates..."),
            valueRequest(versionUrl, "checking for Quillet updates", "1.9"),
            Events{"log: Installed Quillet version: 1.9",
                "log: Latest available Quillet version: 1.9"},
            statusLine("No application updates found."),
            Events{"log: Server: quillet://h:443", "log: Room ID: r1",
                "log: Connecting to Quillet server h:443", "connect: h:443/p/room/r1"});
    }

    MainInterface mainInterface;
};

// Start-up

TEST_F(AppDelegateTest, WithoutArgumentsItStartsAndWaits) {
    EXPECT_THAT(launching(), ElementsAreArray(startUp("(1): /opt/ZqMacClient ")));
}

TEST_F(AppDelegateTest, HandlesUrlEventsOfClassAndIdGurl) {
    launching();
    ASSERT_EQ(memory.application().handlers.size(), 1U);
    EXPECT_EQ(memory.application().handlers.begin()->first,
        (std::pair<platform::FourCharCode, platform::FourCharCode>(0x4755524C, 0x4755524C)));
    EXPECT_EQ(platform::keyDirectObject, 0x2D2D2D2DU);
}

TEST_F(AppDelegateTest, LogThatCannotBeReopenedStopsNothing) {
    memory.system().canReopen = false;
    EXPECT_THAT(launching(), ElementsAreArray(startUp("(1): /opt/ZqMacClient ")));
}

TEST_F(AppDelegateTest, FailedRegistrationStopsNothing) {
    PlatformWithoutRegistration refusing;
    MainInterface launched;
    refusing.application().run(launched);
    EXPECT_THAT(refusing.trace.events(), ElementsAreArray(startUp("(1): /opt/ZqMacClient ")));
}

TEST_F(AppDelegateTest, MissingBundleIdentifierStopsTheProgram) {
    memory.system().identifier.reset();
    EXPECT_THAT(launching(),
        AbortsAfter(Events{"reopen standard error: /tmp/Quillet.log a+", "event handler set"}));
}

TEST_F(AppDelegateTest, MissingVersionStopsTheProgramWhenThereIsAView) {
    const std::vector<std::map<std::string, platform::PropertyValue>> dictionaries{
        {}, {{"CFBundleShortVersionString", 1}}};
    for (const auto& info : dictionaries) {
        memory.system().info = info;
        EXPECT_THAT(launching(), AbortsAfter(registration()));
    }
}

TEST_F(AppDelegateTest, VersionsAreWrittenEachNumberFollowedByAFullStop) {
    setProgramVersion("2.0-beta%d");
    memory.system().version = {10, 0, 123};
    launching();
    EXPECT_EQ(memory.userInterface().statusText,
        "Starting Quillet version 2.0-beta%d.\nRunning on macOS 10.0.123.\n");
    EXPECT_THAT(memory.log(),
        testing::IsSupersetOf(
            {"Starting Quillet version 2.0-beta(null).", "Running on macOS 10.0.123."}));
}

TEST_F(AppDelegateTest, EveryParameterIsFollowedByABlank) {
    memory.system().processArguments = {"a b", "", "%@", "c"};
    EXPECT_THAT(launching(), ElementsAreArray(startUp("(4): a b  %@ c ")));
}

TEST_F(AppDelegateTest, NoArgumentsAtAllAreNone) {
    memory.system().processArguments.clear();
    EXPECT_THAT(launching(), ElementsAreArray(startUp("(0): ")));
}

TEST_F(AppDelegateTest, TerminationDoesNothing) {
    AppDelegate delegate;
    EXPECT_THAT(eventsOf([&] { delegate.applicationWillTerminate(); }), IsEmpty());
}

// Without a view

TEST_F(AppDelegateTest, WithoutViewTheStartLinesAreSkippedAndNoVersionIsNeeded) {
    memory.system().info.clear();
    AppDelegate delegate;
    EXPECT_THAT(eventsOf([&] { delegate.applicationWillFinishLaunching(); }),
        ElementsAreArray(
            joined(registration(), Events{"log: Command line parameters (1): /opt/ZqMacClient "})));
}

TEST_F(AppDelegateTest, WithoutViewACommandLineUrlIsOnlyLogged) {
    pass(link);
    AppDelegate delegate;
    EXPECT_THAT(eventsOf([&] { delegate.applicationWillFinishLaunching(); }),
        ElementsAreArray(joined(registration(),
            Events{"log: Command line parameters (2): /opt/ZqMacClient " + link + " ",
                "log: Overriding custom URL with command line URL: " + link})));
}

TEST_F(AppDelegateTest, WithoutViewACommandLineUrlStillSilencesEvents) {
    pass(link);
    AppDelegate delegate;
    delegate.applicationWillFinishLaunching();
    EXPECT_THAT(opening(link), IsEmpty());
}

TEST_F(AppDelegateTest, InstallWithoutViewIsAnnounced) {
    pass("install");
    AppDelegate delegate;
    EXPECT_THAT(eventsOf([&] { delegate.applicationWillFinishLaunching(); }),
        ElementsAreArray(joined(registration(),
            Events{"log: Command line parameters (2): /opt/ZqMacClient install ",
                "log: we to register for quillet:// URL handling"},
            fatalAlert("Quillet", "Quillet successfully installed."))));
}

TEST_F(AppDelegateTest, ViewThatLoadsAfterStartUpIsNotTaken) {
    AppDelegate delegate;
    delegate.applicationWillFinishLaunching();
    ViewController late(memory.userInterface().statusTextView());
    late.viewDidLoad();
    EXPECT_THAT(opening(link), ElementsAre("log: Launching with custom URL: " + link));
    EXPECT_EQ(late.client(), nullptr);
}

// "install"

TEST_F(AppDelegateTest, InstallTellsSoAndEndsWithStatusOne) {
    pass("install");
    EXPECT_THAT(launching(),
        ElementsAreArray(joined(startUp("(2): /opt/ZqMacClient install "),
            Events{"log: we to register for quillet:// URL handling"},
            fatalAlert("Quillet", "Quillet successfully installed."))));
    EXPECT_EQ(
        memory.userInterface().alerts.at(0).alertStyle, platform::NSAlertStyle::informational);
}

TEST_F(AppDelegateTest, OnlyTheFirstArgumentCounts) {
    for (const std::string& second : {std::string("install"), link}) {
        memory.system().processArguments = {"/opt/ZqMacClient", "other", second};
        EXPECT_THAT(
            launching(), ElementsAreArray(startUp("(3): /opt/ZqMacClient other " + second + " ")));
    }
}

TEST_F(AppDelegateTest, ArgumentsThatOnlyResembleTheTwoAreIgnored) {
    for (const std::string argument : {"Install", "INSTALL", "install ", "-install", "",
             "QUILLET://h?roomId=1", "Quillet://h?roomId=1", "quillet:/h?roomId=1",
             "quillet:", " quillet://h?roomId=1", "https://h?roomId=1"}) {
        pass(argument);
        EXPECT_THAT(
            launching(), ElementsAreArray(startUp("(2): /opt/ZqMacClient " + argument + " ")));
    }
    EXPECT_THAT(opening(link),
        ElementsAreArray(joined(Events{"log: Launching with custom URL: " + link}, session())));
}

// A URL on the command line

TEST_F(AppDelegateTest, CommandLineUrlIsCheckedThenConnectedTo) {
    pass(link);
    EXPECT_THAT(launching(),
        ElementsAreArray(joined(startUp("(2): /opt/ZqMacClient " + link + " "),
            Events{"log: Overriding custom URL with command line URL: " + link}, session())));
}

TEST_F(AppDelegateTest, CommandLineUrlWinsOverEveryEvent) {
    pass(link);
    launching();
    EXPECT_THAT(opening("quillet://other?roomId=2"), IsEmpty());
    EXPECT_THAT(opening(link), IsEmpty());
    EXPECT_THAT(receiving(nullptr), IsEmpty());
    EXPECT_EQ(memory.network().webSockets.size(), 1U);
}

TEST_F(AppDelegateTest, EventDuringTheCommandLineUrlsPromptIsIgnored) {
    memory.network().answer(versionUrl, R"({"value":"2.0"})");
    memory.network().answer(
        "https://h:443/p/update/bundle?os=macos&version=2.0", R"({"value":"https://page"})");
    memory.userInterface().responses = {platform::NSAlertFirstButtonReturn + 1};
    bool isShown = false;
    memory.userInterface().whileModal = [&] {
        isShown = true;
        EXPECT_THAT(opening("quillet://other?roomId=2"), IsEmpty());
    };
    pass(link);
    EXPECT_EQ(launching().back(), "connect: h:443/p/room/r1");
    EXPECT_TRUE(isShown);
}

TEST_F(AppDelegateTest, MalformedCommandLineUrlIsShown) {
    pass("quillet://h");
    EXPECT_THAT(launching(),
        ElementsAreArray(joined(startUp("(2): /opt/ZqMacClient quillet://h "),
            Events{"log: Overriding custom URL with command line URL: quillet://h"},
            statusLine("Checking for application updates..."),
            fatalAlert("Error", "Could not parse server URL: quillet://h"))));
}

TEST_F(AppDelegateTest, FailedUpdateCheckKeepsItFromConnecting) {
    memory.network().answers.clear();
    pass(link);
    EXPECT_EQ(launching().back(), "exit: 1");
    EXPECT_THAT(memory.network().webSockets, IsEmpty());
}

TEST_F(AppDelegateTest, DeclinedUpgradeConnectsRightAfter) {
    memory.network().answer(versionUrl, R"({"value":"2.0"})");
    memory.network().answer(
        "https://h:443/p/update/bundle?os=macos&version=2.0", R"({"value":"https://page"})");
    memory.userInterface().responses = {platform::NSAlertFirstButtonReturn + 1};
    pass(link);
    const Events events = launching();
    const auto dismissed = std::find(events.begin(), events.end(), "dismissed");
    ASSERT_NE(dismissed, events.end());
    EXPECT_THAT(Events(dismissed + 1, events.end()),
        ElementsAre("log: Server: quillet://h:443", "log: Room ID: r1",
            "log: Connecting to Quillet server h:443", "connect: h:443/p/room/r1"));
}

TEST_F(AppDelegateTest, AcceptedUpgradeDoesNotConnect) {
    memory.network().answer(versionUrl, R"({"value":"2.0"})");
    memory.network().answer(
        "https://h:443/p/update/bundle?os=macos&version=2.0", R"({"value":"https://page"})");
    pass(link);
    EXPECT_EQ(launching().back(), "exit: 0");
    EXPECT_THAT(memory.network().webSockets, IsEmpty());
}

// URL events

TEST_F(AppDelegateTest, UrlEventIsCheckedThenConnectedTo) {
    launching();
    EXPECT_THAT(opening(link),
        ElementsAreArray(joined(Events{"log: Launching with custom URL: " + link}, session())));
}

TEST_F(AppDelegateTest, SecondUrlEventChecksAgainAndReplacesTheSession) {
    launching();
    opening(link);
    const std::weak_ptr<ZqClient> first = ViewController::viewController->client();
    EXPECT_THAT(opening(link),
        ElementsAreArray(joined(Events{"log: Launching with custom URL: " + link}, session())));
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(memory.network().requestedUrls.size(), 2U);
    EXPECT_EQ(memory.network().webSockets.size(), 2U);
    EXPECT_FALSE(memory.network().webSockets[0]->closed);
}

TEST_F(AppDelegateTest, EventWithoutUrlStopsTheProgram) {
    launching();
    const AppleEventDescriptor noParameter{};
    const AppleEventDescriptor otherParameter{{{platform::fourCharCode("othr"), {link}}}};
    const AppleEventDescriptor noString{{{platform::keyDirectObject, AppleEventParameter()}}};
    EXPECT_THAT(receiving(nullptr), AbortsAfter(Events{}));
    for (const auto* event : {&noParameter, &otherParameter, &noString}) {
        EXPECT_THAT(receiving(event), AbortsAfter(Events{}));
    }
}

TEST_F(AppDelegateTest, MalformedEventUrlIsShown) {
    launching();
    EXPECT_THAT(opening("install"),
        ElementsAreArray(joined(Events{"log: Launching with custom URL: install"},
            statusLine("Checking for application updates..."),
            fatalAlert("Error", "Could not parse server URL: install"))));
}

} // namespace
