// SPDX-License-Identifier: MIT
// Which addresses may be gone to. They come from a server.
#pragma once

#include <string_view>

namespace platform {

/// Whether `url` begins with "https://", in any case of letters, and goes on.
bool isSecureWebPage(std::string_view url);

/// The same for "https://" or "http://". Anything else might open a file or start a program.
bool isWebPage(std::string_view url);

} // namespace platform
