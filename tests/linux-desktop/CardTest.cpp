// SPDX-License-Identifier: MIT
// The window while a card does not answer.
#include "tests/linux-desktop/DesktopTest.h"
#include "tests/linux-security/SoftTokens.h"
#include "tests/support/ConfiguredModules.h"

#include <cstdlib>

using testing::HasSubstr;

class DesktopCard : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        environment["SOFTHSM2_CONF"] = std::getenv("SOFTHSM2_CONF");
        environment["QUILLET_TEST_CARD"] = (home.path() / "card").string();
        setenv("QUILLET_TEST_CARD", environment["QUILLET_TEST_CARD"].c_str(), 1);
        writeFile(home.path() / "card", "");
        configured.add("card", AWKWARD_MODULE);
        tokens.create("Card");
        tokens.add("Card", {});
    }

    ConfiguredModules configured;
    SoftTokens tokens;
};

TEST_F(DesktopCard, WindowTellsWhatAModuleThatHangsIsAndCanBeClosed) {
    startSessionOnDesktop();
    EXPECT_EQ(listCertificates().size(), 1U);
    writeFile(home.path() / "card", "hang-find");
    session->sendCommand("LIST_CERTIFICATES");
    EXPECT_TRUE(eventually([this] {
        return statusText().find(
                   "Still waiting for Card. Taking the card out may help. Closing this window ends"
                   " the session.\n")
            != std::string::npos;
    }));
    EXPECT_THAT(statusText(), HasSubstr("Waiting for Card...\n"));
    display.closeByTitleBar(window);
    expectEnd({0, 0});
}
