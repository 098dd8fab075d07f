// SPDX-License-Identifier: MIT
#include "platform/shared/SessionSecurity.h"

#include "tests/support/MemoryPlatform.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using platform::OSStatus;

/// A keychain that only signs, or fails to.
class OneKey : public platform::SessionSecurity {
public:
    using SessionSecurity::SessionSecurity;

    OSStatus SecKeychainCopyDefault() override { std::abort(); }
    platform::SecResult<platform::PropertyArray> SecItemCopyMatching(
        const platform::PropertyDictionary&) override {
        std::abort();
    }
    platform::SecResult<platform::SecKeyRef> SecIdentityCopyPrivateKey(
        const platform::SecIdentityRef&) override {
        std::abort();
    }
    platform::SecResult<platform::SecCertificateRef> SecIdentityCopyCertificate(
        const platform::SecIdentityRef&) override {
        std::abort();
    }
    std::optional<Bytes> SecCertificateCopySerialNumber(
        const platform::SecCertificateRef&) override {
        std::abort();
    }
    std::optional<platform::PropertyDictionary> SecCertificateCopyValues(
        const platform::SecCertificateRef&) override {
        std::abort();
    }
    bool SecKeyIsAlgorithmSupported(const platform::SecKeyRef&, platform::SecKeyOperationType,
        platform::SecKeyAlgorithm) override {
        std::abort();
    }
    std::optional<std::string> SecCopyErrorMessageString(OSStatus) override { std::abort(); }
    OSStatus SecKeychainSetUserInteractionAllowed(bool) override { std::abort(); }
    void lock() override { std::abort(); }

    Signed sign(const platform::SecKeyRef&, platform::SecKeyAlgorithm, BytesView) override {
        ++asked;
        if (errorCode == 0) {
            return {{Bytes{1}, std::nullopt}, 0};
        }
        return {{std::nullopt, "no"}, errorCode};
    }

    long errorCode = 0;
    int asked = 0;
};

class SessionSecurityTest : public testing::Test {
protected:
    bool signs() {
        return security
            .SecKeyCreateSignature(
                {}, platform::SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256, {})
            .signature.has_value();
    }

    MemoryPlatform memory;
    OneKey security{memory.userInterface(), nullptr};
};

TEST_F(SessionSecurityTest, WhatTheUserRefusedIsNotAskedForAgainInTheSession) {
    for (const long code : {-128L, -2147415839L, -2147416032L}) {
        security.errorCode = code;
        security.asked = 0;
        EXPECT_FALSE(signs());
        security.errorCode = 0;
        EXPECT_FALSE(signs());
        EXPECT_EQ(security.asked, 1);
        security.beginSession();
        EXPECT_TRUE(signs());
    }
}

TEST_F(SessionSecurityTest, AnyOtherFailureIsTriedAgain) {
    security.errorCode = -25293;
    EXPECT_FALSE(signs());
    security.errorCode = 0;
    EXPECT_TRUE(signs());
}

} // namespace
