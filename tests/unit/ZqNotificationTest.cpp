// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqNotification.h"

#include "ZqMacClient/ViewController.h"
#include "tests/support/PlatformTest.h"

namespace {

using testing::ElementsAre;

using ZqNotificationTest = PlatformTest;

TEST_F(ZqNotificationTest, TitleIsTheMessageAndInformativeTextTheDetails) {
    const ZqNotification notification("Signing attachment", "Quillet");
    EXPECT_EQ(notification.notification().title, "Signing attachment");
    EXPECT_EQ(notification.notification().informativeText, "Quillet");
}

TEST_F(ZqNotificationTest, WithoutAViewItIsDeliveredAndNothingElse) {
    EXPECT_THAT(eventsOf([] { ZqNotification("Signing attachment", "Quillet").show(); }),
        ElementsAre("notification: Signing attachment | Quillet"));
}

TEST_F(ZqNotificationTest, TitleGoesToStatusViewAndLogBeforeTheDelivery) {
    ViewController viewController(memory.userInterface().statusTextView());
    viewController.viewDidLoad();
    EXPECT_THAT(eventsOf([] { ZqNotification("Signing attachment", "Quillet").show(); }),
        ElementsAre("log: Signing attachment", "status: Signing attachment\n",
            "notification: Signing attachment | Quillet"));
}

TEST_F(ZqNotificationTest, DetailsAreNeitherInTheStatusViewNorInTheLog) {
    ViewController viewController(memory.userInterface().statusTextView());
    viewController.viewDidLoad();
    ZqNotification("Signing attachment", "Quillet").show();
    EXPECT_EQ(memory.userInterface().statusText, "Signing attachment\n");
    EXPECT_THAT(memory.log(), ElementsAre("Signing attachment"));
}

TEST_F(ZqNotificationTest, AViewThatHasNotLoadedGetsNoLine) {
    const ViewController viewController(memory.userInterface().statusTextView());
    EXPECT_THAT(eventsOf([] { ZqNotification("Title", "Details").show(); }),
        ElementsAre("notification: Title | Details"));
}

TEST_F(ZqNotificationTest, EachShowDelivers) {
    const ZqNotification notification("Title", "Details");
    notification.show();
    notification.show();
    EXPECT_EQ(memory.userInterface().notifications.size(), 2U);
}

} // namespace
