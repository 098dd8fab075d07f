// SPDX-License-Identifier: MIT
#include "platform/shared/StatusView.h"

#include <gtest/gtest.h>

TEST(StatusViewTest, TextIsHandedOnAsItStands) {
    std::string shown;
    platform::StatusView view([&](std::string_view text) { shown += text; });
    ASSERT_NE(view.textStorage(), nullptr);
    view.textStorage()->append("Starting Quillet\n");
    view.textStorage()->append("");
    view.textStorage()->append("Listing certificates\n");
    EXPECT_EQ(shown, "Starting Quillet\nListing certificates\n");
}
