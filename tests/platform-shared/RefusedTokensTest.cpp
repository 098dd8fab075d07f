// SPDX-License-Identifier: MIT
#include "platform/shared/RefusedTokens.h"

#include "platform/UserInterface.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Answers each alert with the same button.
class AnsweringUser : public platform::UserInterface {
public:
    platform::NSTextView* statusTextView() override { return nullptr; }
    int runModal(const platform::NSAlert& alert) override {
        alerts.push_back(alert.messageText);
        return response;
    }
    void deliverNotification(const platform::NSUserNotification&) override { }
    bool openURL(const std::string&) override { return false; }
    std::optional<std::string> askForPassword(const std::string&, bool) override {
        return std::nullopt;
    }

    std::vector<std::string> alerts;
    int response = platform::NSAlertFirstButtonReturn;
};

class RefusedTokensTest : public testing::Test {
protected:
    RefusedTokensTest() {
        tokens.setEnd([this] { ++ends; });
    }

    AnsweringUser user;
    int ends = 0;
    platform::RefusedTokens tokens{user};
};

} // namespace

TEST_F(RefusedTokensTest, OnlyWhatWasRefusedIsAmongThem) {
    tokens.add("Card");
    EXPECT_FALSE(tokens.contains("Other"));
    EXPECT_THAT(user.alerts, IsEmpty());
    EXPECT_TRUE(tokens.contains("Card"));
}

TEST_F(RefusedTokensTest, SessionCanBeEndedTheFirstTimeThatOneIsWanted) {
    tokens.add("Card");
    tokens.contains("Card");
    EXPECT_THAT(user.alerts, ElementsAre("The password of \"Card\" was not given"));
    EXPECT_EQ(ends, 1);
    tokens.contains("Card");
    EXPECT_EQ(user.alerts.size(), 1U);
}

TEST_F(RefusedTokensTest, SessionMayGoOnWithoutIt) {
    user.response = platform::NSAlertFirstButtonReturn + 1;
    tokens.add("Card");
    EXPECT_TRUE(tokens.contains("Card"));
    EXPECT_EQ(ends, 0);
}

TEST_F(RefusedTokensTest, NextSessionKnowsOfNone) {
    tokens.add("Card");
    tokens.contains("Card");
    tokens.beginSession();
    EXPECT_FALSE(tokens.contains("Card"));
    tokens.add("Card");
    tokens.contains("Card");
    EXPECT_EQ(user.alerts.size(), 2U);
}
