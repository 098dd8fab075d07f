// SPDX-License-Identifier: MIT
// What the desktop's notification service is asked to show.
#include "tests/linux-desktop/DesktopTest.h"

using testing::ElementsAre;

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
    static json::value notification(const char* title) {
        return {{"application", "Quillet"}, {"icon", "com.quillet.ZqMacClient"}, {"title", title},
            {"body", "Quillet"}};
    }

private:
    std::unique_ptr<AgentProcess> m_service;
};

TEST_F(DesktopNotification, EachStepIsToldWithItsTitleTheProgramsNameAndIcon) {
    home.makeIdentities(1);
    startService({"body", "body-markup"});
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    receive("SIGN_PDF_RESPONSE");
    session->sendCommand("SIGN_XML", xmlRequest("<a/>"));
    receive("SIGN_XML_RESPONSE");
    EXPECT_THAT(shown(5),
        ElementsAre(notification("Connected to Quillet server"),
            notification("Listing certificates"), notification("Signing attachment"),
            notification("Listing certificates"), notification("Signing document")));
}

TEST_F(DesktopNotification, WithoutAServiceTheSessionGoesOn) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    EXPECT_EQ(listCertificates().size(), 1U);
}
