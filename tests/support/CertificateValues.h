// SPDX-License-Identifier: MIT
// Certificate values as the keychain gives them: a dictionary of property dictionaries by OID.
#pragma once

#include "platform/Security.h"

#include <string>
#include <utility>

/// A property of one type: a value of a distinguished name, or one of a certificate.
inline platform::PropertyDictionary property(
    const std::string& type, platform::PropertyValue value) {
    return {{platform::kSecPropertyKeyType, type}, {platform::kSecPropertyKeyLabel, "2.5.4.0"},
        {platform::kSecPropertyKeyValue, std::move(value)}};
}

inline platform::PropertyDictionary stringProperty(const std::string& text) {
    return property(platform::kSecPropertyTypeString, text);
}

inline platform::PropertyDictionary sectionProperty(platform::PropertyArray parts) {
    return property(platform::kSecPropertyTypeSection, std::move(parts));
}

inline platform::PropertyDictionary::Entry commonNames(platform::PropertyArray names) {
    return {
        platform::kSecOIDCommonName, property(platform::kSecPropertyTypeArray, std::move(names))};
}

inline platform::PropertyDictionary::Entry issuerName(platform::PropertyArray parts) {
    return {platform::kSecOIDX509V1IssuerName, sectionProperty(std::move(parts))};
}

inline platform::PropertyDictionary::Entry subjectName(platform::PropertyArray parts) {
    return {platform::kSecOIDX509V1SubjectName, sectionProperty(std::move(parts))};
}
