// SPDX-License-Identifier: MIT
// A keychain whose every answer a test can script.
#pragma once

#include "platform/Security.h"
#include "tests/support/Trace.h"

#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

/// A certificate, key or identity that is nothing but its name.
template <typename Kind>
class NamedObject : public Kind {
public:
    explicit NamedObject(std::string objectName)
        : name(std::move(objectName)) { }
    std::string description() const override { return "<" + name + ">"; }
    const std::string name;
};

/// One identity with what the keychain says of it.
struct ScriptedIdentity {
    std::string name; // of the references
    Bytes der{0x30, 0x00};
    std::string dataKey = platform::kSecValueData;
    std::optional<Bytes> serial = Bytes{0x01};
    std::optional<platform::PropertyDictionary> values = platform::PropertyDictionary();
    platform::OSStatus keyStatus = platform::errSecSuccess;
    platform::OSStatus certificateStatus = platform::errSecSuccess;
    bool hasKey = true; // whether a successful copy gives an object
    bool hasCertificate = true;
};

class ScriptedKeychain : public platform::Security {
public:
    explicit ScriptedKeychain(Trace& trace)
        : m_trace(trace) { }

    /// Adds an identity whose subject has the given common name.
    ScriptedIdentity& addIdentity(const std::string& commonName) {
        ScriptedIdentity& identity = identities.emplace_back();
        identity.name = commonName;
        identity.der = Bytes(commonName.begin(), commonName.end());
        identity.values = platform::PropertyDictionary{{platform::kSecOIDCommonName,
            platform::PropertyDictionary{{"value", platform::PropertyArray{commonName}}}}};
        return identity;
    }

    platform::OSStatus SecKeychainCopyDefault() override {
        m_trace.add("SecKeychainCopyDefault");
        return defaultKeychainStatus;
    }

    platform::SecResult<platform::PropertyArray> SecItemCopyMatching(
        const platform::PropertyDictionary& query) override {
        m_trace.add("SecItemCopyMatching");
        queries.push_back(query);
        if (matching) {
            return *matching;
        }
        platform::PropertyArray items;
        for (const ScriptedIdentity& identity : identities) {
            const platform::SecIdentityRef reference
                = std::make_shared<NamedObject<platform::SecIdentity>>(identity.name);
            items.push_back(platform::PropertyDictionary{
                {identity.dataKey, identity.der}, {platform::kSecValueRef, reference}});
        }
        return {platform::errSecSuccess, std::move(items)};
    }

    platform::SecResult<platform::SecKeyRef> SecIdentityCopyPrivateKey(
        const platform::SecIdentityRef& identity) override {
        m_trace.add("SecIdentityCopyPrivateKey " + identity->description());
        const ScriptedIdentity& scripted = find(identity->description());
        if (scripted.keyStatus != platform::errSecSuccess) {
            return {scripted.keyStatus, std::nullopt};
        }
        if (!scripted.hasKey) {
            return {platform::errSecSuccess, std::nullopt};
        }
        return {platform::errSecSuccess,
            std::make_shared<NamedObject<platform::SecKey>>(scripted.name)};
    }

    platform::SecResult<platform::SecCertificateRef> SecIdentityCopyCertificate(
        const platform::SecIdentityRef& identity) override {
        m_trace.add("SecIdentityCopyCertificate " + identity->description());
        const ScriptedIdentity& scripted = find(identity->description());
        if (scripted.certificateStatus != platform::errSecSuccess) {
            return {scripted.certificateStatus, std::nullopt};
        }
        if (!scripted.hasCertificate) {
            return {platform::errSecSuccess, std::nullopt};
        }
        return {platform::errSecSuccess,
            std::make_shared<NamedObject<platform::SecCertificate>>(scripted.name)};
    }

    std::optional<Bytes> SecCertificateCopySerialNumber(
        const platform::SecCertificateRef& certificate) override {
        return find(certificate->description()).serial;
    }

    std::optional<platform::PropertyDictionary> SecCertificateCopyValues(
        const platform::SecCertificateRef& certificate) override {
        return find(certificate->description()).values;
    }

    bool SecKeyIsAlgorithmSupported(const platform::SecKeyRef& key, platform::SecKeyOperationType,
        platform::SecKeyAlgorithm algorithm) override {
        m_trace.add("SecKeyIsAlgorithmSupported " + key->description());
        askedAlgorithms.push_back(algorithm);
        return algorithmSupported;
    }

    platform::SecSignature SecKeyCreateSignature(const platform::SecKeyRef& key,
        platform::SecKeyAlgorithm algorithm, BytesView data) override {
        m_trace.add("SecKeyCreateSignature " + key->description());
        signatures.push_back({key->description(), algorithm, {data.begin(), data.end()}});
        return signature;
    }

    std::optional<std::string> SecCopyErrorMessageString(platform::OSStatus status) override {
        const auto found = errorMessages.find(status);
        return found == errorMessages.end() ? std::nullopt : std::optional(found->second);
    }

    platform::OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) override {
        m_trace.add(
            std::string("SecKeychainSetUserInteractionAllowed ") + (allowed ? "true" : "false"));
        return platform::errSecSuccess;
    }

    struct SignatureRequest {
        std::string key;
        platform::SecKeyAlgorithm algorithm;
        Bytes data;
    };

    std::vector<ScriptedIdentity> identities;
    platform::OSStatus defaultKeychainStatus = platform::errSecSuccess;
    /// In place of the identities' own list.
    std::optional<platform::SecResult<platform::PropertyArray>> matching;
    bool algorithmSupported = true;
    platform::SecSignature signature{Bytes{0x53, 0x49, 0x47}, std::nullopt};
    std::map<platform::OSStatus, std::string> errorMessages{
        {platform::errSecItemNotFound, "The specified item could not be found in the keychain."}};

    std::vector<platform::PropertyDictionary> queries;
    std::vector<platform::SecKeyAlgorithm> askedAlgorithms;
    std::vector<SignatureRequest> signatures;

private:
    const ScriptedIdentity& find(const std::string& description) const {
        for (const ScriptedIdentity& identity : identities) {
            if (description == "<" + identity.name + ">") {
                return identity;
            }
        }
        throw std::out_of_range("no identity " + description);
    }

    Trace& m_trace;
};
