// SPDX-License-Identifier: MIT
// Core Foundation's values as the program's own. All arguments are borrowed and not null.
#pragma once

#include "platform/Types.h"

#include <CoreFoundation/CoreFoundation.h>
#include <string>

namespace platform {

struct ObjectReleaser {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};
/// What a Create or Copy function returned; released once. Null when it returned nothing.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, ObjectReleaser>;

/// UTF-8; an unpaired surrogate becomes a question mark.
std::string textOf(CFStringRef string);
/// The description of any object, for log lines.
std::string descriptionOf(CFTypeRef object);

Bytes bytesOfData(CFDataRef data);
PropertyArray arrayOf(CFArrayRef array);
/// Entries whose key is no text are left out.
PropertyDictionary dictionaryOf(CFDictionaryRef dictionary);
/// What has no counterpart, a number that is not whole too, becomes its description.
PropertyValue propertyValueOf(CFTypeRef value);

/// A certificate, key or identity of the keychain. Descriptions hold nothing secret.
template <typename Base, typename Ref>
class KeychainObject final : public Base {
public:
    explicit KeychainObject(Owned<Ref> object)
        : m_object(std::move(object)) { }
    Ref get() const { return m_object.get(); }
    std::string description() const override { return descriptionOf(m_object.get()); }

private:
    Owned<Ref> m_object;
};

} // namespace platform
