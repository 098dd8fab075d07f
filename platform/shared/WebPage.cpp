// SPDX-License-Identifier: MIT
#include "platform/shared/WebPage.h"

#include <strings.h>

namespace platform {

namespace {

bool goesOnFrom(std::string_view scheme, std::string_view url) {
    return url.size() > scheme.size() && strncasecmp(url.data(), scheme.data(), scheme.size()) == 0;
}

} // namespace

bool isSecureWebPage(std::string_view url) {
    return goesOnFrom("https://", url);
}

bool isWebPage(std::string_view url) {
    return isSecureWebPage(url) || goesOnFrom("http://", url);
}

} // namespace platform
