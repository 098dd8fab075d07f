// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqCertificate.h"
#include "platform/Security.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The signing identities of the user's default keychain, and signing with them. Stateless.
class ZqKeychainAccess {
public:
    /// All identities but those whose name begins with "com.apple.", in the keychain's order. A
    /// failure is shown to the user and ends the process.
    std::vector<ZqCertificate> listCertificates(bool withRawValues) const;

    /// "SHA256withRSA" takes `digestValue` as a ready SHA-256 digest and signs it (PKCS #1 v1.5);
    /// any other name, or none, signs it as a message that is hashed with SHA-1. Nothing on
    /// failure, after a line on standard output.
    std::optional<Bytes> signData(std::optional<BytesView> digestValue,
        const platform::SecKeyRef& privateKey,
        const std::optional<std::string>& signatureAlgorithm = std::nullopt) const;

    /// The byte count must fit 32 bits.
    std::array<std::uint8_t, 20> sha1(BytesView data) const;
    std::array<std::uint8_t, 32> sha256(BytesView data) const;

    std::string description() const { return "ZqMacClient.ZqKeychainAccess"; }

private:
    ZqCertificate certificateOfItem(const platform::PropertyArray& list,
        const platform::PropertyValue& item, bool withRawValues) const;
    void readValues(ZqCertificate& certificate) const;
    std::string getDn(const platform::PropertyValue* properties) const;
    std::optional<std::string> getErrorMessage(platform::OSStatus status) const;
    [[noreturn]] void fail(const std::string& message, platform::OSStatus status) const;
};
