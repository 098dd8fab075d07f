// SPDX-License-Identifier: MIT
// The question of trust of a signing policy, in a dialog.
#include "tests/linux-desktop/DesktopTest.h"
#include "tests/support/SigningContent.h"

using testing::HasSubstr;

class DesktopConsent : public DesktopTest {
protected:
    DesktopConsent() = default;
    void SetUp() override {
        if (!AgentHome::canSetPolicy()) {
            GTEST_SKIP() << "this user may not mount, so no policy can be put in place";
        }
        DesktopTest::SetUp();
        home.makeIdentities(1);
        home.setPolicy(R"({"version":1,"consent":"session"})");
    }
    void askForList() {
        startSessionOnDesktop();
        session->sendCommand("LIST_CERTIFICATES");
        EXPECT_EQ(dialogText(),
            "localhost wants to use your certificates\nServer: localhost, port "
                + std::to_string(server.port())
                + "\nRoom code: 116340\n\nIf you did not just start signing there, refuse.");
    }
    void expectRefused() {
        expectEnd({1, 0});
        EXPECT_EQ(agent->log().back(), "Consent: refused");
        EXPECT_FALSE(session->receive(std::chrono::milliseconds(0)).has_value());
    }
    static void read() { std::this_thread::sleep_for(std::chrono::milliseconds(1500)); }
};

TEST_F(DesktopConsent, EnterSpaceEscapeAndTheCloseButtonRefuse) {
    for (const char* const key : {"Return", "space", "Escape"}) {
        askForList();
        read();
        display.pressKey(key);
        expectRefused();
    }
    askForList();
    read();
    display.closeByTitleBar(dialog);
    expectRefused();
}

TEST_F(DesktopConsent, TheOtherButtonAgreesAfterAWhile) {
    askForList();
    read();
    display.pressKey("Left"); // to the button beside
    display.pressKey("space");
    receive("CERTIFICATE_LIST");
    EXPECT_TRUE(logHas("Consent: allowed"));
}

TEST_F(DesktopConsent, EnterOnTheOtherButtonStillRefuses) {
    askForList();
    read();
    display.pressKey("Left"); // to the button beside
    display.pressKey("Return");
    expectRefused();
}
