// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqError.h"

#include "tests/support/PlatformTest.h"

namespace {

using platform::NSAlertStyle;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using ZqErrorTest = PlatformTest;

TEST_F(ZqErrorTest, AlertIsCriticalByDefault) {
    const ZqError error("Message", "Details");
    EXPECT_EQ(error.alert().messageText, "Message");
    EXPECT_EQ(error.alert().informativeText, "Details");
    EXPECT_EQ(error.alert().alertStyle, NSAlertStyle::critical);
    EXPECT_EQ(static_cast<int>(error.alert().alertStyle), 2);
}

TEST_F(ZqErrorTest, AlertTakesTheStyleThatIsAskedFor) {
    const ZqError error("Message", "Details", NSAlertStyle::informational);
    EXPECT_EQ(error.alert().alertStyle, NSAlertStyle::informational);
    EXPECT_EQ(static_cast<int>(error.alert().alertStyle), 1);
}

TEST_F(ZqErrorTest, AlertHasNoButtonsOfItsOwn) {
    EXPECT_THAT(ZqError("Message", "Details").alert().buttons, IsEmpty());
}

TEST_F(ZqErrorTest, LogMayHaveOtherWordsThanTheAlert) {
    const ZqError error = ZqError("Message", "Details").logAs("A", "B");
    EXPECT_THAT(eventsOf([&] { error.show(); }),
        ElementsAre("log: Message: A, details: B", "alert: Message | Details", "dismissed"));
    EXPECT_EQ(eventsOf([&] { error.showAndExit(); }).front(), "log: FATAL ERROR: A, details: B");
}

TEST_F(ZqErrorTest, CreatingShowsNothing) {
    EXPECT_THAT(eventsOf([] { ZqError("Message", "Details"); }), IsEmpty());
}

TEST_F(ZqErrorTest, ShowLogsOneLineAndReturnsAfterTheAlert) {
    bool returned = false;
    EXPECT_THAT(eventsOf([&] {
        ZqError("Message", "Details").show();
        returned = true;
    }),
        ElementsAre(
            "log: Message: Message, details: Details", "alert: Message | Details", "dismissed"));
    EXPECT_TRUE(returned);
}

TEST_F(ZqErrorTest, ShowAndExitEndsWithStatusOne) {
    EXPECT_THAT(eventsOf([] { ZqError("Message", "Details").showAndExit(); }),
        ElementsAre("log: FATAL ERROR: Message, details: Details", "alert: Message | Details",
            "dismissed", "log: Exiting application after fatal error", "exit: 1"));
}

TEST_F(ZqErrorTest, ShowAndExitLogsItsSecondLineOnlyAfterTheAlertIsDismissed) {
    std::vector<std::string> logWhileModal;
    memory.userInterface().whileModal = [&] { logWhileModal = memory.log(); };
    eventsOf([] { ZqError("Message", "Details").showAndExit(); });
    EXPECT_THAT(logWhileModal, ElementsAre("FATAL ERROR: Message, details: Details"));
    EXPECT_THAT(memory.log(),
        ElementsAre(
            "FATAL ERROR: Message, details: Details", "Exiting application after fatal error"));
}

TEST_F(ZqErrorTest, OnlyTheAlertBeforeTheEndSaysThatTheProgramEnds) {
    ZqError("Message", "Details").show();
    eventsOf([] { ZqError("Message", "Details").showAndExit(); });
    ASSERT_EQ(memory.userInterface().alerts.size(), 2U);
    EXPECT_FALSE(memory.userInterface().alerts[0].endsProgram);
    EXPECT_TRUE(memory.userInterface().alerts[1].endsProgram);
}

TEST_F(ZqErrorTest, EmptyDetailsAreLoggedAsNothing) {
    EXPECT_THAT(eventsOf([] { ZqError("Message", "").showAndExit(); }),
        ElementsAreArray(fatalAlert("Message", "")));
    EXPECT_EQ(memory.log().front(), "FATAL ERROR: Message, details: ");
}

TEST_F(ZqErrorTest, ExitStatusIsOneWhateverTheStyle) {
    EXPECT_THAT(
        eventsOf([] { ZqError("Done", "Well.", NSAlertStyle::informational).showAndExit(); }),
        ElementsAreArray(fatalAlert("Done", "Well.")));
    EXPECT_EQ(memory.userInterface().alerts.at(0).alertStyle, NSAlertStyle::informational);
}

TEST_F(ZqErrorTest, ResponseOfTheAlertIsIgnored) {
    memory.userInterface().responses = {1001, 0};
    EXPECT_THAT(eventsOf([] { ZqError("Message", "Details").showAndExit(); }),
        ElementsAreArray(fatalAlert("Message", "Details")));
    EXPECT_EQ(eventsOf([] { ZqError("Message", "Details").show(); }).back(), "dismissed");
}

TEST_F(ZqErrorTest, PerCentSignsInTheTextsAreLoggedAsTheyAre) {
    EXPECT_EQ(
        eventsOf([] { ZqError("50%d", "%@").show(); }).front(), "log: Message: 50%d, details: %@");
}

} // namespace
