// SPDX-License-Identifier: MIT
// Core Foundation in memory: reference counts, texts, data, lists, dictionaries. Misuse that would
// crash or corrupt on the platform aborts here, or is an error of the address sanitizer.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace memory {

/// What a reference of Core Foundation points to.
class Object {
public:
    explicit Object(CFTypeID objectType);
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object();
    virtual std::string description() const = 0;

    const CFTypeID type;
    long references = 1;
};

/// How many objects have been created and not yet released for the last time; constants of the
/// platform do not count.
long liveObjects();

/// A number for a new type.
CFTypeID newTypeID();

Object* objectOf(CFTypeRef reference);

/// Objects of which the caller owns one reference, as from a Create function.
CFStringRef makeString(std::u16string_view utf16);
CFDataRef makeData(std::string_view bytes);
CFNumberRef makeNumber(double value);
CFErrorRef makeError(std::u16string_view description, CFIndex code = -1);
/// An object of a type that is not known here.
CFTypeRef makeDate();
/// These take over the caller's references to their contents.
CFArrayRef makeArray(std::vector<CFTypeRef> values);
CFDictionaryRef makeDictionary(std::vector<std::pair<CFTypeRef, CFTypeRef>> entries);

/// A constant of the platform: retaining and releasing it does nothing.
CFStringRef makeConstant(std::u16string_view text);

/// Entries in the order in which they were given.
const std::vector<std::pair<CFTypeRef, CFTypeRef>>& entriesOf(CFDictionaryRef dictionary);

} // namespace memory
