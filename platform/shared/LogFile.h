// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"

#include <string>

namespace platform {

/// The pieces as one text without NUL, at which a platform's log call would end.
std::string logLine(LogText text);

/// A descriptor that appends to `path`, closed by the caller; -1 unless that is, or now has become,
/// a regular file of this user, under this name alone and no link: /tmp is everybody's, and
/// somebody else's file may wait under the name for what is signed. The file is made its user's
/// alone. One of more than 512 MiB is renamed to `path` + ".1" and a new one begun.
int openOwnLogFile(const std::string& path);

/// Makes `descriptor` append to the file that `openOwnLogFile` opens, and to no other that takes
/// its name meanwhile; false, and nothing changes, when it opens none.
bool redirectToOwnLogFile(int descriptor, const std::string& path);

} // namespace platform
