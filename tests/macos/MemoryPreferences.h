// SPDX-License-Identifier: MIT
// The preferences of applications in memory.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <map>
#include <string>
#include <utility>

namespace memory {

struct Preference {
    CFTypeRef value = nullptr; // whose reference the preferences own
    bool isForced = false;
};

/// By application and key; empty them with `clearPreferences`.
std::map<std::pair<std::string, std::string>, Preference>& preferences();
void clearPreferences();

} // namespace memory
