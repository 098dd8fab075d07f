// SPDX-License-Identifier: MIT
// What the desktop's notification service is asked to show.
#include "tests/linux-desktop/DesktopTest.h"

#include <csignal>

class DesktopNotification : public DesktopTest {
protected:
    void startService(const std::vector<std::string>& capabilities) {
        m_service = startProgram(QUILLET_NOTIFICATION_SERVICE, capabilities);
        ASSERT_TRUE(m_service->waitForOutput("ready\n"));
    }
    /// The `count` notifications so far.
    std::vector<json::value> shown(std::size_t count) {
        std::vector<json::value> values;
        eventually([&] {
            values.clear();
            std::istringstream lines(m_service->output());
            std::string line;
            std::getline(lines, line); // "ready"
            while (std::getline(lines, line)) {
                values.push_back(json::parse(line));
            }
            return values.size() >= count;
        });
        return values;
    }
    /// Waits for the notification with that title, of the program's name and icon.
    json::value waitFor(const std::string& title) {
        json::value found;
        eventually([&] {
            for (const json::value& value : shown(1)) {
                found = value.at("title").as_string() == title ? value : found;
            }
            return !found.is_null();
        });
        return found;
    }
    static json::value notification(const char* title, int replaced) {
        return {{"application", "Quillet"}, {"replaces", replaced},
            {"icon", "com.quillet.ZqMacClient"}, {"title", title}, {"body", "Quillet"}};
    }

private:
    std::unique_ptr<AgentProcess> m_service;
};

TEST_F(DesktopNotification, EachStepReplacesTheOneBeforeUnderTheProgramsNameAndIcon) {
    home.makeIdentities(1);
    startService({"body", "body-markup"});
    startSessionOnDesktop();
    EXPECT_EQ(
        waitFor("Connected to Quillet server"), notification("Connected to Quillet server", 0));
    const json::object request = pdfRequest("bytes");
    EXPECT_EQ(waitFor("Listing certificates"), notification("Listing certificates", 7));
    session->sendCommand("SIGN_PDF", request);
    receive("SIGN_PDF_RESPONSE");
    EXPECT_EQ(waitFor("Signing attachment"), notification("Signing attachment", 7));
}

TEST_F(DesktopNotification, RefusedRequestIsToldBeforeTheProcessEnds) {
    startService({"body"});
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF", json::object{{"certificateDigest", 1}}); // no text
    expectEnd({-1, SIGABRT});
    EXPECT_FALSE(waitFor("The signing session has ended").is_null());
}

TEST_F(DesktopNotification, EndOfTheSessionIsTheLast) {
    startService({"body"});
    startSessionOnDesktop();
    session->closeAbruptly();
    expectEnd({0, 0});
    EXPECT_EQ(shown(2).back(), notification("The signing session has ended", 7));
}

TEST_F(DesktopNotification, SessionThatCannotBeginIsToldOf) {
    startService({"body"});
    server.refuseWebSockets(devserver::HttpAnswer{403, "no"});
    startOnDesktop({server.link("room-1")});
    expectEnd({0, 0});
    json::object expected = notification("The signing session could not begin", 0).as_object();
    expected["body"] = "There is no connection to localhost:" + std::to_string(server.port());
    EXPECT_EQ(shown(1), std::vector<json::value>{expected});
}

TEST_F(DesktopNotification, WhatAnAlertHasToldIsNotToldAgain) {
    startService({"body"});
    startOnDesktop({"quillet://localhost/no-room"});
    dialogText();
    display.pressKey("Return");
    expectEnd({1, 0});
    startSessionOnDesktop(); // the next that the service hears of
    EXPECT_FALSE(waitFor("Connected to Quillet server").is_null());
    EXPECT_EQ(shown(1).size(), 1U);
}

TEST_F(DesktopNotification, ClosedWindowIsNotToldOf) {
    startService({"body"});
    startSessionOnDesktop();
    EXPECT_FALSE(waitFor("Connected to Quillet server").is_null());
    display.closeByTitleBar(window);
    expectEnd({0, 0});
    EXPECT_EQ(shown(1).size(), 1U);
}

TEST_F(DesktopNotification, WithoutAServiceTheSessionGoesOn) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    EXPECT_EQ(listCertificates().size(), 1U);
}
