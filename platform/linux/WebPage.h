// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// Has `xdg-open` show a page of the web in the user's browser. False when it cannot be asked, or
/// when `url` is no http or https address: it comes from a server, and must open no file and be no
/// option of xdg-open.
bool openWebPage(const std::string& url);

} // namespace platform
