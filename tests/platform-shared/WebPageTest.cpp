// SPDX-License-Identifier: MIT
#include "platform/shared/WebPage.h"

#include <gtest/gtest.h>

namespace {

using platform::isSecureWebPage;
using platform::isWebPage;

TEST(WebPageTest, PagesOfTheWebAreKnownInAnyCase) {
    for (const char* url : {"https://host/bundle.pkg?version=2", "HTTPS://host", "hTTps://h"}) {
        EXPECT_TRUE(isWebPage(url)) << url;
        EXPECT_TRUE(isSecureWebPage(url)) << url;
    }
    for (const char* url : {"http://host/page", "HTTP://host"}) {
        EXPECT_TRUE(isWebPage(url)) << url;
        EXPECT_FALSE(isSecureWebPage(url)) << url;
    }
}

TEST(WebPageTest, NothingElseIsOne) {
    for (const char* url : {"", "http", "http:", "http://", "https://", "https:/host", " https://h",
             "httpss://host", "file:///etc/passwd", "--help", "quillet://host", "javascript:x",
             "host/https://host"}) {
        EXPECT_FALSE(isWebPage(url)) << url;
        EXPECT_FALSE(isSecureWebPage(url)) << url;
    }
}

} // namespace
