// SPDX-License-Identifier: MIT
#include "platform/shared/ModalUserInterface.h"

#include "tests/platform-shared/ManualQueue.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using platform::NSAlert;
using testing::ElementsAre;

class RecordedUserInterface : public platform::ModalUserInterface {
public:
    using ModalUserInterface::ModalUserInterface;

    void deliverNotification(const platform::NSUserNotification&) override { std::abort(); }

    platform::StatusView::Append openMainWindow() override {
        calls.push_back("window");
        return [this](std::string_view text) { calls.push_back("text " + std::string(text)); };
    }
    void setTitle(const std::string& title) override { calls.push_back("title " + title); }
    long show(const NSAlert& alert, bool isGuarded) override {
        isModal = work->isRunning();
        calls.push_back((isGuarded ? "guarded " : "alert ") + alert.messageText);
        return response;
    }
    bool openPage(const std::string& url) override {
        calls.push_back("page " + url);
        return opens;
    }

    platform::ModalWork* work = nullptr;
    std::vector<std::string> calls;
    long response = platform::NSAlertFirstButtonReturn;
    bool isModal = false;
    bool opens = true;
};

NSAlert alertOf(const std::string& text) {
    NSAlert alert;
    alert.messageText = text;
    return alert;
}

class ModalUserInterfaceTest : public testing::Test {
protected:
    ModalUserInterfaceTest() { userInterface.work = work.get(); }

    ManualQueue queue;
    const std::shared_ptr<platform::ModalWork> work = std::make_shared<platform::ModalWork>(
        queue, []() -> std::unique_ptr<platform::Semaphore> { std::abort(); });
    RecordedUserInterface userInterface{work};
};

TEST_F(ModalUserInterfaceTest, MainWindowIsOpenedOnce) {
    userInterface.statusTextView()->textStorage()->append("one");
    userInterface.statusTextView()->textStorage()->append("two");
    EXPECT_THAT(userInterface.calls, ElementsAre("window", "text one", "text two"));
}

TEST_F(ModalUserInterfaceTest, AlertIsModalWork) {
    userInterface.response = 1001;
    EXPECT_EQ(userInterface.runModal(alertOf("Text")), 1001);
    EXPECT_TRUE(userInterface.isModal);
    EXPECT_FALSE(work->isRunning());
    EXPECT_THAT(userInterface.calls, ElementsAre("alert Text"));
}

TEST_F(ModalUserInterfaceTest, OnlyTheFirstButtonOfAGuardedAlertAgrees) {
    const NSAlert question = alertOf("Sign?");
    EXPECT_TRUE(userInterface.agrees(question));
    EXPECT_TRUE(userInterface.isModal);
    for (const long response : {1001L, 0L, -1L}) {
        userInterface.response = response;
        EXPECT_FALSE(userInterface.agrees(question)) << response;
    }
    EXPECT_EQ(userInterface.calls.front(), "guarded Sign?");
}

TEST_F(ModalUserInterfaceTest, OnlyWebPagesAreOpened) {
    EXPECT_TRUE(userInterface.openURL("https://example.org/"));
    EXPECT_FALSE(userInterface.openURL("file:///etc/passwd"));
    userInterface.opens = false;
    EXPECT_FALSE(userInterface.openURL("http://example.org/"));
    EXPECT_THAT(
        userInterface.calls, ElementsAre("page https://example.org/", "page http://example.org/"));
}

TEST_F(ModalUserInterfaceTest, TitleNamesTheServer) {
    userInterface.showServer("sign.example.org:8443");
    userInterface.showServer("");
    EXPECT_THAT(
        userInterface.calls, ElementsAre("title sign.example.org:8443 - Quillet", "title Quillet"));
}

TEST_F(ModalUserInterfaceTest, NobodyIsAskedForAPassword) {
    EXPECT_EQ(userInterface.askForPassword("token", true), std::nullopt);
}

} // namespace
