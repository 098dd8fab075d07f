// SPDX-License-Identifier: MIT
// The Security framework in memory: a keychain whose every answer a test can script.
#pragma once

#include "tests/macos/MemoryCoreFoundation.h"

#include <Security/Security.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace memory {

/// What the keychain says of one identity.
struct IdentityScript {
    std::string name;
    OSStatus keyStatus = errSecSuccess;
    OSStatus certificateStatus = errSecSuccess;
    std::optional<std::string> serial = "\x01";
    /// Makes what SecCertificateCopyValues returns; null when it returns nothing.
    std::function<CFDictionaryRef()> values = [] { return makeDictionary({}); };
};

/// The one keychain. A test sets it up anew.
struct Keychain {
    OSStatus defaultStatus = errSecSuccess;
    OSStatus queryStatus = errSecSuccess;
    /// Makes what SecItemCopyMatching returns; null when it returns nothing.
    std::function<CFArrayRef()> matching = [] { return makeArray({}); };
    bool isAlgorithmSupported = true;
    /// Makes what SecKeyCreateSignature returns, from the data; null when it fails,
    std::function<CFDataRef(const std::string& data)> signature
        = [](const std::string& data) { return makeData("signed " + data); };
    /// with the error under this description, if any.
    std::optional<std::u16string> signatureError;
    /// and this code.
    CFIndex signatureErrorCode = -1;
    std::map<OSStatus, std::u16string> messages;
    OSStatus interactionStatus = errSecSuccess;

    // What was asked.
    std::vector<std::vector<std::pair<CFTypeRef, CFTypeRef>>> queries; // constants alone
    struct AlgorithmRequest {
        std::string key;
        SecKeyOperationType operation;
        SecKeyAlgorithm algorithm;
    };
    std::vector<AlgorithmRequest> algorithmRequests;
    struct SignatureRequest {
        std::string key;
        SecKeyAlgorithm algorithm;
        std::string data;
    };
    std::vector<SignatureRequest> signatureRequests;
    std::vector<bool> interactions;
    int locks = 0; // of the default keychain
};

Keychain& keychain();

/// An identity with its own key and certificate; the caller owns one reference.
SecIdentityRef makeIdentity(IdentityScript script);

} // namespace memory
