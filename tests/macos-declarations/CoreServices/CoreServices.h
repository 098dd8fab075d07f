// SPDX-License-Identifier: MIT
// Launch Services and the Apple events of Internet links, as far as they are used.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#pragma clang assume_nonnull begin

using AEKeyword = FourCharCode;
using AEEventClass = FourCharCode;
using AEEventID = FourCharCode;
enum { keyDirectObject = 0x2D2D2D2D };

extern "C" OSStatus LSSetDefaultHandlerForURLScheme(
    CFStringRef inURLScheme, CFStringRef inHandlerBundleID)
    __attribute__((availability(macos, introduced = 10.4, deprecated = 100000)));

#pragma clang assume_nonnull end
