// SPDX-License-Identifier: MIT
// What the keychain is asked by the program, and what servers know its identities by.
#pragma once

#include "foundation/Base64.h"
#include "tests/support/PlatformTest.h"
#include "tests/support/ReferenceDigests.h"

/// The keychain is listed, and these identities are read.
inline Events reading(const std::vector<std::string>& names) {
    Events events{"SecKeychainCopyDefault", "SecItemCopyMatching"};
    for (const std::string& name : names) {
        events = joined(events,
            Events{"SecIdentityCopyPrivateKey <" + name + ">",
                "SecIdentityCopyCertificate <" + name + ">",
                "log: Parsing certificiate Optional(<" + name + ">)"});
    }
    return events;
}

inline Events signingWith(const std::string& name) {
    return {"SecKeyIsAlgorithmSupported <" + name + ">", "SecKeyCreateSignature <" + name + ">"};
}

/// The digest of a certificate of these bytes: for an identity of `ScriptedKeychain`, its name.
inline std::string digestOf(std::string_view certificate) {
    return base64Encoded(referenceSha1(bytesOf(certificate)));
}
