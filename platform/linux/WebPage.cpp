// SPDX-License-Identifier: MIT
#include "platform/linux/WebPage.h"

#include "platform/linux/ChildProcess.h"

#include <string_view>
#include <strings.h>

namespace platform {

namespace {

bool isWebAddress(const std::string& url) {
    const auto hasScheme = [&](std::string_view scheme) {
        return url.size() > scheme.size()
            && strncasecmp(url.c_str(), scheme.data(), scheme.size()) == 0;
    };
    return hasScheme("https://") || hasScheme("http://");
}

} // namespace

bool openWebPage(const std::string& url) {
    return isWebAddress(url) && startDetached({"xdg-open", url});
}

} // namespace platform
