// SPDX-License-Identifier: MIT
// Not tests: pictures of the windows for the documentation, in the folder QUILLET_SCREENSHOTS.
#include "tests/linux-desktop/DesktopTest.h"
#include "tests/support/SigningContent.h"

#include <QImage>
#include <cstdlib>

class Screenshots : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        // Its theme is installed here, unlike what an agent in a test may find.
        m_windowManager = startProgram("/usr/bin/env", {"-u", "XDG_DATA_DIRS", "/usr/bin/openbox"});
        ASSERT_TRUE(eventually([&] { return display.hasWindowManager(); }));
    }

    /// Waits until the window looks the same for a while: until it is painted.
    void save(XDisplay::WindowId of, const std::string& name) {
        const auto frame = display.frameOf(of);
        XDisplay::Image image;
        int same = 0;
        eventually([&] {
            auto next = display.imageOf(frame);
            same = next == image ? same + 1 : 0;
            image = std::move(next);
            return same >= 20;
        });
        const QImage picture(reinterpret_cast<const uchar*>(image.pixels.data()), image.width,
            image.height, QImage::Format_RGB32);
        const std::string folder = std::getenv("QUILLET_SCREENSHOTS");
        ASSERT_TRUE(picture.save(QString::fromStdString(folder + "/" + name + ".png"), "PNG"));
    }

private:
    std::unique_ptr<AgentProcess> m_windowManager;
};

TEST_F(Screenshots, Session) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    receive("SIGN_PDF_RESPONSE");
    session->sendCommand("SIGN_XML", xmlRequest("<a/>"));
    receive("SIGN_XML_RESPONSE");
    save(window, "session");
}

TEST_F(Screenshots, FatalAlert) {
    home.makeIdentities(1);
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF",
        json::object{{"certificateDigest", "6Hc0mBnCq7mJzcQ4sHf0wX9Qk2A="}, {"bytesToSign", ""},
            {"signatureAlgorithm", "SHA256withRSA"}});
    dialogText();
    save(dialog, "fatal-alert");
}

TEST_F(Screenshots, UpgradePrompt) {
    server.setAnswer(
        devserver::Endpoint::version, devserver::HttpAnswer{200, "{\"value\":\"1.2.0\"}"});
    startOnDesktop({server.link("room-1")});
    dialogText();
    save(dialog, "upgrade-prompt");
}

TEST_F(Screenshots, PasswordPrompt) {
    home.makeProtectedIdentity("Correct7");
    startSessionOnDesktop();
    session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
    dialog = display.waitForDialog().value_or(0);
    display.type("Correct7");
    save(dialog, "password-prompt");
}

TEST_F(Screenshots, ConsentForASession) {
    home.makeIdentities(1);
    home.setPolicy(R"({"version":1,"consent":"session"})");
    startSessionOnDesktop();
    session->sendCommand("LIST_CERTIFICATES");
    dialogText();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // until both buttons can be used
    save(dialog, "consent-session");
}

TEST_F(Screenshots, ConsentForAListAndASignature) {
    home.makeIdentities(1);
    home.setPolicy(R"({"version":1,"consent":"signature"})");
    startSessionOnDesktop();
    session->sendCommand("LIST_CERTIFICATES");
    dialogText();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    save(dialog, "consent-list");
    display.pressKey("Left"); // to the button beside
    display.pressKey("space");
    const json::value list = receive("CERTIFICATE_LIST");
    const json::value certificates = json::parse(bytesOfBase64(list.at("payload").as_string()));
    session->sendCommand("SIGN_PDF",
        json::object{{"certificateDigest", certificates.at(0).at("certificateDigest")},
            {"signatureAlgorithm", "SHA256withRSA"},
            {"bytesToSign", base64Of(signedAttributes())}});
    dialogText();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    save(dialog, "consent-signature");
}
