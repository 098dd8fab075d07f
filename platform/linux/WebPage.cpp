// SPDX-License-Identifier: MIT
#include "platform/linux/WebPage.h"

#include "platform/linux/ChildProcess.h"
#include "platform/shared/WebPage.h"

namespace platform {

bool openWebPage(const std::string& url) {
    return isWebPage(url) && startDetached({"xdg-open", url});
}

} // namespace platform
