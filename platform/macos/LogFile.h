// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"

#include <string>

namespace platform {

/// The pieces as one text without NUL, which the platform's log call would end at.
std::string logLine(LogText text);

/// Whether `path` is, or now has become, a regular file of this user and no link: /tmp is
/// everybody's. A file that this creates is its user's alone; another user cannot replace it.
bool isOwnLogFile(const std::string& path);

} // namespace platform
