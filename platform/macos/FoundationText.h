// SPDX-License-Identifier: MIT
// Texts and bytes between the program and Foundation. For Objective-C++ only.
#pragma once

#include "foundation/Utf8.h"
#include "platform/Platform.h"
#include "platform/macos/PropertyList.h"

#import <Foundation/Foundation.h>

namespace platform {

/// Ill-formed parts become U+FFFD.
inline NSString* stringOfText(std::string_view text) {
    NSString* const string = [[NSString alloc] initWithBytes:text.data() length:text.size()
                                                    encoding:NSUTF8StringEncoding];
    return string == nil ? stringOfText(utf8Repaired(text)) : string;
}

inline std::optional<std::string> optionalTextOf(NSString* string) {
    return string == nil ? std::nullopt : std::optional(textOf((__bridge CFStringRef)string));
}

/// Empty for nil.
inline std::string textOfString(NSString* string) {
    return optionalTextOf(string).value_or("");
}

/// Nothing for nil.
inline std::optional<std::string> contentOf(NSData* data) {
    const auto* const bytes = static_cast<const char*>(data.bytes);
    return data == nil ? std::nullopt : std::optional(std::string(bytes, data.length));
}

/// For an address that the program has found to form a URL.
inline NSURL* urlOf(const std::string& text) {
    NSURL* const url = [NSURL URLWithString:stringOfText(text)];
    if (url == nil) {
        fatalError("not a URL: " + text);
    }
    return url;
}

} // namespace platform
