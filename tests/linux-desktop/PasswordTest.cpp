// SPDX-License-Identifier: MIT
// The password of a protected certificate database.
#include "tests/linux-desktop/DesktopTest.h"

class DesktopPassword : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        home.makeProtectedIdentity("Correct7");
        startSessionOnDesktop();
        session->sendCommand("SIGN_PDF", pdfRequest("bytes"));
        waitForPrompt();
    }
    /// A prompt other than the one before.
    void waitForPrompt() {
        const auto shown = display.waitForDialog(dialog);
        ASSERT_TRUE(shown.has_value());
        dialog = *shown;
        EXPECT_EQ(display.title(dialog), "Quillet");
    }
    void expectNoSignature() {
        EXPECT_TRUE(receive("SIGN_PDF_RESPONSE").at("payload").at("signature").is_null());
    }
};

TEST_F(DesktopPassword, RightOneSigns) {
    display.type("Correct7");
    display.pressKey("Return");
    const json::value answer = receive("SIGN_PDF_RESPONSE").at("payload");
    EXPECT_TRUE(signatureIsValid(std::string(answer.at("certificate").as_string()),
        std::string(answer.at("signature").as_string()), "bytes", "SHA256"));
    for (const std::string& line : agent->log()) {
        EXPECT_EQ(line.find("Correct7"), std::string::npos) << "a password in the log";
    }
}

TEST_F(DesktopPassword, WrongOneIsAskedAgain) {
    const auto first = display.imageOf(dialog);
    display.type("wrong");
    display.pressKey("Return");
    waitForPrompt();
    EXPECT_GT(display.imageOf(dialog).height, first.height) << "does not tell what is wrong";
    display.type("Correct7");
    display.pressKey("Return");
    EXPECT_TRUE(receive("SIGN_PDF_RESPONSE").at("payload").at("signature").is_string());
}

TEST_F(DesktopPassword, CancelledByEscapeLeavesTheAnswerWithoutSignature) {
    display.type("Correct7");
    display.pressKey("Escape");
    expectNoSignature();
}

TEST_F(DesktopPassword, CancelledByButtonLeavesTheAnswerWithoutSignature) {
    display.click(dialog, -50, -28);
    expectNoSignature();
}

TEST_F(DesktopPassword, CancelledByCloseButtonLeavesTheAnswerWithoutSignature) {
    display.closeByTitleBar(dialog);
    expectNoSignature();
}
