// SPDX-License-Identifier: MIT
#include "ZqMacClient/ViewController.h"

#include "ZqMacClient/ZqClient.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/StompText.h"

#include <limits>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class ViewControllerTest : public PlatformTest {
protected:
    Events appending(const std::string& text) {
        return eventsOf([&] { controller.appendText(text); });
    }
    Events connecting(const std::string& url) {
        return eventsOf([&] { controller.connectToServer(url); });
    }
    MemoryWebSocket& socket(std::size_t number) { return *memory.network().webSockets.at(number); }

    ViewController controller{memory.userInterface().statusTextView()};
};

// The shared slot

TEST_F(ViewControllerTest, SlotIsFilledOnlyWhenTheViewHasLoaded) {
    EXPECT_EQ(ViewController::viewController, nullptr);
    controller.viewDidLoad();
    EXPECT_EQ(ViewController::viewController, &controller);
}

TEST_F(ViewControllerTest, SlotHoldsTheControllerWhoseViewLoadedLast) {
    controller.viewDidLoad();
    {
        ViewController second(memory.userInterface().statusTextView());
        second.viewDidLoad();
        EXPECT_EQ(ViewController::viewController, &second);
        controller.viewDidLoad();
    }
    EXPECT_EQ(ViewController::viewController, &controller);
}

TEST_F(ViewControllerTest, SlotDoesNotOutliveItsController) {
    {
        ViewController other(memory.userInterface().statusTextView());
        other.viewDidLoad();
    }
    EXPECT_EQ(ViewController::viewController, nullptr);
}

TEST_F(ViewControllerTest, LoadingShowsAndConnectsNothing) {
    EXPECT_THAT(eventsOf([this] { controller.viewDidLoad(); }), IsEmpty());
    EXPECT_EQ(controller.client(), nullptr);
}

// The status view

TEST_F(ViewControllerTest, ALineIsLoggedThenAppendedWithALineBreak) {
    EXPECT_THAT(appending("A line"), ElementsAre("log: A line", "status: A line\n"));
}

TEST_F(ViewControllerTest, TextWithLineBreaksIsAppendedUnchanged) {
    EXPECT_THAT(appending("a\nb\n"), ElementsAre("log: a\nb\n", "status: a\nb\n\n"));
    EXPECT_THAT(appending(""), ElementsAre("log: ", "status: \n"));
}

TEST_F(ViewControllerTest, StatusViewOnlyGrows) {
    for (int i = 0; i < 3; ++i) {
        appending(std::to_string(i));
    }
    EXPECT_EQ(memory.userInterface().statusText, "0\n1\n2\n");
}

TEST_F(ViewControllerTest, PerCentSignsAreDirectivesInTheLogAlone) {
    EXPECT_THAT(appending("100%% of %d, %@ %"),
        ElementsAre("log: 100% of (null), (null) %", "status: 100%% of %d, %@ %\n"));
}

TEST_F(ViewControllerTest, MissingStatusViewStopsTheProgramAfterTheLogLine) {
    ViewController headless(nullptr);
    EXPECT_THAT(eventsOf([&] { headless.appendText("text"); }), AbortsAfter(Events{"log: text"}));
}

TEST_F(ViewControllerTest, MissingTextStorageAppendsNothing) {
    memory.userInterface().hasTextStorage = false;
    EXPECT_THAT(appending("text"), ElementsAre("log: text"));
}

// The custom URL

TEST_F(ViewControllerTest, AGoodUrlIsTakenApartSilently) {
    ServerUrl url;
    EXPECT_THAT(
        eventsOf([&] { url = controller.parseServerUrl("quillet://h:8443/p?x=1&roomId=r%201"); }),
        IsEmpty());
    EXPECT_EQ(url.components.host, "h");
    EXPECT_EQ(url.components.port.value().number, 8443U);
    EXPECT_EQ(url.components.path, "/p");
    EXPECT_EQ(url.roomId, "r 1");
}

TEST_F(ViewControllerTest, HostAndPortAreNotCheckedByTheParser) {
    for (const char* const url : {"quillet:?roomId=1", "quillet://?roomId=1", "quillet:p?roomId=1",
             "quillet://h:99999?roomId=1", "quillet://h:18446744073709551616?roomId=1",
             "quillet://%FF?roomId=1", "quillet://h/%FF?roomId=1", "quillet://a%20b?roomId=1"}) {
        EXPECT_THAT(
            eventsOf([&] { EXPECT_EQ(controller.parseServerUrl(url).roomId, "1"); }), IsEmpty());
    }
}

TEST_F(ViewControllerTest, EverythingElseIsShownAndEndsTheProgram) {
    for (const std::string url : {"", // no URL parts at all
             "quillet://h/a b?roomId=1", // cannot be parsed
             "quillet://h:port?roomId=1",
             "quillet://h", // no query
             "quillet://h?", "quillet://h?room=1", "quillet://h?roomid=1", "quillet://h#?roomId=1",
             "quillet://h?roomId", // an item without a value
             "quillet://h?roomId&roomId=1", // the first of two counts
             "quillet://h?roomId=%FF",
             "QUILLET://h?roomId=1", // another scheme
             "Quillet://h?roomId=1", "https://h?roomId=1", "//h?roomId=1", "?roomId=1",
             "quillets://h?roomId=1"}) {
        EXPECT_THAT(eventsOf([&] { controller.parseServerUrl(url); }),
            ElementsAreArray(fatalAlert("Error", "Could not parse server URL: " + url)));
    }
    EXPECT_EQ(memory.userInterface().alerts.front().alertStyle, platform::NSAlertStyle::critical);
}

TEST_F(ViewControllerTest, ABadUrlIsNotConnectedTo) {
    EXPECT_THAT(connecting("QUILLET://h?roomId=1"),
        ElementsAreArray(fatalAlert("Error", "Could not parse server URL: QUILLET://h?roomId=1")));
    EXPECT_EQ(controller.client(), nullptr);
}

// The connection

TEST_F(ViewControllerTest, ConnectingLogsServerAndRoomThenConnects) {
    EXPECT_THAT(connecting("quillet://sign.example:8443/pre?roomId=r1"),
        ElementsAre("log: Server: quillet://sign.example:8443", "log: Room ID: r1",
            "log: Connecting to Quillet server sign.example:8443",
            "connect: sign.example:8443/pre/room/r1"));
    EXPECT_EQ(controller.client()->roomId(), "r1");
}

TEST_F(ViewControllerTest, WithoutPortItIs443) {
    EXPECT_THAT(connecting("quillet://h?roomId=r1"),
        ElementsAre("log: Server: quillet://h:443", "log: Room ID: r1",
            "log: Connecting to Quillet server h:443", "connect: h:443/room/r1"));
}

TEST_F(ViewControllerTest, AddressKeepsItsBracketsAndUserInformationIsLeftOut) {
    EXPECT_THAT(connecting("quillet://u:p@[::1]:8443/p?roomId=1"),
        ElementsAre("log: Server: quillet://[::1]:8443", "log: Room ID: 1",
            "log: Connecting to Quillet server [::1]:8443", "connect: [::1]:8443/p/room/1"));
}

TEST_F(ViewControllerTest, PathStandsBeforeTheRoom) {
    connecting("quillet://h/?roomId=1");
    EXPECT_EQ(socket(0).request.target, "//room/1");
    connecting("quillet://h/a/b/?roomId=1");
    EXPECT_EQ(socket(1).request.target, "/a/b//room/1");
}

TEST_F(ViewControllerTest, PathAndRoomAreEncodedAgainForTheEndpointOnly) {
    EXPECT_THAT(connecting("quillet://h/a%20b/%C3%A9?roomId=r%2F1%3F+%25"),
        ElementsAre("log: Server: quillet://h:443", "log: Room ID: r/1?+%",
            "log: Connecting to Quillet server h:443",
            "connect: h:443/a%20b/%C3%A9/room/r/1%3F+%25"));
    EXPECT_EQ(controller.client()->roomId(), "r/1?+%");
}

TEST_F(ViewControllerTest, ConnectionIsSecure) {
    connecting("quillet://h?roomId=1");
    EXPECT_TRUE(socket(0).request.secure);
}

TEST_F(ViewControllerTest, FirstOfTwoRoomsIsJoined) {
    connecting("quillet://h?roomId=a&roomId=b");
    EXPECT_EQ(controller.client()->roomId(), "a");
    EXPECT_EQ(socket(0).request.target, "/room/a");
}

TEST_F(ViewControllerTest, EmptyRoomIsARoom) {
    EXPECT_THAT(connecting("quillet://h?roomId="), testing::Contains("connect: h:443/room/"));
    EXPECT_EQ(controller.client()->roomId(), "");
}

TEST_F(ViewControllerTest, LargestPortIsPassedOn) {
    connecting("quillet://h:18446744073709551615?roomId=1");
    EXPECT_EQ(socket(0).request.port, std::numeric_limits<std::uint64_t>::max());
}

TEST_F(ViewControllerTest, UrlWithoutHostStopsTheProgramWithoutAnAlert) {
    EXPECT_THAT(connecting("quillet:?roomId=1"), AbortsAfter(Events{}));
    EXPECT_EQ(controller.client(), nullptr);
}

TEST_F(ViewControllerTest, HostThatIsNoTextIsNoHost) {
    EXPECT_THAT(connecting("quillet://%FF?roomId=1"), AbortsAfter(Events{}));
}

TEST_F(ViewControllerTest, PortBeyondSixtyFourBitsStopsTheProgramWithoutAnAlert) {
    EXPECT_THAT(connecting("quillet://h:18446744073709551616?roomId=1"), AbortsAfter(Events{}));
}

TEST_F(ViewControllerTest, PathThatIsNoTextStopsTheProgramWithoutAnAlert) {
    EXPECT_THAT(connecting("quillet://h/%FF?roomId=1"),
        AbortsAfter(Events{"log: Server: quillet://h:443", "log: Room ID: 1"}));
}

TEST_F(ViewControllerTest, NamesThatBeginWithAnAddressAreConnectedTo) {
    for (const std::string host : {"10.0.0.1.example.org", "1.2.3.4a", "1.2.3.4."}) {
        EXPECT_THAT(connecting("quillet://" + host + "?roomId=1"),
            testing::Contains("connect: " + host + ":443/room/1"));
    }
}

TEST_F(ViewControllerTest, NewSessionReplacesTheOldOneWithoutTellingItToDisconnect) {
    connecting("quillet://one?roomId=1");
    const std::weak_ptr<ZqClient> first = controller.client();
    socket(0).open();
    socket(0).receive(connectedText());
    memory.application().runPending();
    const std::size_t sent = socket(0).sent.size();

    connecting("quillet://two?roomId=2");
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(controller.client()->roomId(), "2");
    EXPECT_FALSE(socket(0).closed);
    EXPECT_EQ(socket(0).sent.size(), sent);
}

TEST_F(ViewControllerTest, EventsOfAReplacedSessionDoNothing) {
    connecting("quillet://one?roomId=1");
    connecting("quillet://two?roomId=2");
    socket(0).open();
    socket(0).lose("gone");
    EXPECT_THAT(eventsOf([this] { memory.application().runPending(); }), IsEmpty());
}

} // namespace
