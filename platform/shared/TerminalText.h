// SPDX-License-Identifier: MIT
// Text as a terminal or a journal may show it: what comes from a server must not move the cursor,
// nor pass for a line of its own.
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The text with control characters (C0, C1 and DEL) other than line break and tab as U+FFFD, and
/// so each ill-formed part of it.
std::string displayable(std::string_view text);

/// The same for one line: line breaks and tabs, too.
std::string displayableLine(std::string_view text);

} // namespace platform
