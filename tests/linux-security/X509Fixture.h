// SPDX-License-Identifier: MIT
// What tests look at in a certificate's values.
#pragma once

#include "CertificateBuilder.h"
#include "platform/Security.h"
#include "platform/linux/security/X509Values.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace platform {

inline KeyPair smallKey() {
    static const KeyPair key = makeKeyPair("EC"); // quick to make; names do not depend on it
    return key;
}

inline X509Values valuesOf(CertificateBuilder builder) {
    if (!builder.key) {
        builder.key = smallKey();
    }
    return X509Values::parse(builder.build()).value();
}

inline X509Values valuesOfSubject(std::vector<NameAttribute> subject) {
    CertificateBuilder builder;
    builder.subject = std::move(subject);
    return valuesOf(builder);
}

inline std::string textUnder(const PropertyDictionary& property, const char* key) {
    const PropertyValue* value = property.find(key);
    const auto* text = value == nullptr ? nullptr : value->as<std::string>();
    return text == nullptr ? "(none)" : *text;
}

inline const PropertyDictionary& property(const PropertyDictionary& values, const char* oid) {
    return *values.find(oid)->as<PropertyDictionary>();
}

inline const PropertyArray& list(const PropertyDictionary& dictionary) {
    return *dictionary.find(kSecPropertyKeyValue)->as<PropertyArray>();
}

/// "2.5.4.6=NL" for each attribute, those of one RDN in brackets.
inline std::vector<std::string> flat(const PropertyArray& section) {
    std::vector<std::string> lines;
    for (const PropertyValue& value : section) {
        const auto& dictionary = *value.as<PropertyDictionary>();
        if (textUnder(dictionary, kSecPropertyKeyType) == kSecPropertyTypeSection) {
            lines.push_back("[");
            for (const std::string& line : flat(list(dictionary))) {
                lines.push_back(line);
            }
            lines.push_back("]");
        } else {
            EXPECT_EQ(textUnder(dictionary, kSecPropertyKeyType), kSecPropertyTypeString);
            lines.push_back(textUnder(dictionary, kSecPropertyKeyLabel) + "="
                + textUnder(dictionary, kSecPropertyKeyValue));
        }
    }
    return lines;
}

inline std::vector<std::string> subjectOf(const X509Values& values) {
    const PropertyDictionary all = values.values();
    return flat(list(property(all, kSecOIDX509V1SubjectName)));
}

inline std::string commonNameOf(const X509Values& values) {
    const PropertyDictionary all = values.values();
    return *list(property(all, kSecOIDCommonName)).at(0).as<std::string>();
}

using Lines = std::vector<std::string>;

} // namespace platform
