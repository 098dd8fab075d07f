// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssSecurity.h"

#include "platform/linux/security/DigestInfo.h"
#include "platform/linux/security/KeychainEntry.h"
#include "platform/linux/security/NssDatabase.h"
#include "platform/linux/security/X509Values.h"

#include <cstdlib>
#include <map>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

struct Wanted {
    bool data = false;
    bool reference = false;
};

/// Nothing when the query asks for more than all identities as data or references.
std::optional<Wanted> understand(const PropertyDictionary& query) {
    Wanted wanted;
    bool identities = false;
    bool all = false;
    for (const auto& [key, value] : query.entries()) {
        const auto* text = value.as<std::string>();
        const auto* flag = value.as<bool>();
        if (key == kSecClass && text != nullptr && *text == kSecClassIdentity) {
            identities = true;
        } else if (key == kSecMatchLimit && text != nullptr && *text == kSecMatchLimitAll) {
            all = true;
        } else if (key == kSecReturnData && flag != nullptr) {
            wanted.data = *flag;
        } else if (key == kSecReturnRef && flag != nullptr) {
            wanted.reference = *flag;
        } else {
            return std::nullopt;
        }
    }
    if (!identities || !all || (!wanted.data && !wanted.reference)) {
        return std::nullopt;
    }
    return wanted;
}

PropertyValue itemOf(KeychainEntryRef entry, Wanted wanted) {
    if (!wanted.reference) {
        return entry->der();
    }
    SecIdentityRef identity = std::make_shared<EntryIdentity>(entry);
    if (!wanted.data) {
        return identity;
    }
    PropertyDictionary item;
    item.set(kSecValueData, entry->der());
    item.set(kSecValueRef, std::move(identity));
    return item;
}

/// One entry for each certificate, though several tokens may hold it: on the first token that shows
/// its private key, or else on the first that vouches for it.
std::vector<KeychainEntryRef> identitiesOn(const std::vector<std::shared_ptr<NssToken>>& tokens) {
    std::vector<KeychainEntryRef> entries;
    std::map<Bytes, std::size_t> places;
    for (const std::shared_ptr<NssToken>& token : tokens) {
        for (NssCertificate& certificate : token->userCertificates()) {
            const auto [place, isNew] = places.try_emplace(certificate.der, entries.size());
            if (!isNew && (entries[place->second]->isKeySeen() || !certificate.isKeySeen)) {
                continue;
            }
            auto values = X509Values::parse(certificate.der);
            auto entry = std::make_shared<const KeychainEntry>(
                std::move(certificate), std::move(values), token);
            if (isNew) {
                entries.push_back(std::move(entry));
            } else {
                entries[place->second] = std::move(entry);
            }
        }
    }
    return entries;
}

OSStatus statusOfNothing(PasswordPrompt::Outcome outcome) {
    switch (outcome) {
    case PasswordPrompt::Outcome::cancelled:
        return errSecUserCanceled;
    case PasswordPrompt::Outcome::notAllowed:
        return errSecInteractionNotAllowed;
    case PasswordPrompt::Outcome::pinLocked:
        return errSecAuthFailed;
    default:
        return errSecItemNotFound;
    }
}

} // namespace

std::string defaultDatabaseDirectory() {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        const passwd* account = getpwuid(getuid());
        home = account == nullptr ? "" : account->pw_dir;
    }
    return std::string(home) + "/.pki/nssdb";
}

NssSecurity::NssSecurity(UserInterface& userInterface, std::string databaseDirectory)
    : m_directory(std::move(databaseDirectory))
    , m_prompt(userInterface) {
}

NssSecurity::~NssSecurity() = default;

OSStatus NssSecurity::open() {
    if (m_database) {
        return errSecSuccess;
    }
    auto opened = NssDatabase::open(m_directory, m_prompt);
    if (const auto* failure = std::get_if<NssDatabase::OpenFailure>(&opened)) {
        switch (*failure) {
        case NssDatabase::OpenFailure::missing:
            return errSecNoDefaultKeychain;
        case NssDatabase::OpenFailure::notPermitted:
            return errSecNotAvailable;
        case NssDatabase::OpenFailure::damaged:
            return errSecInvalidKeychain;
        }
    }
    m_database = std::get<std::unique_ptr<NssDatabase>>(std::move(opened));
    return errSecSuccess;
}

OSStatus NssSecurity::SecKeychainCopyDefault() {
    return open();
}

SecResult<PropertyArray> NssSecurity::SecItemCopyMatching(const PropertyDictionary& query) {
    const std::optional<Wanted> wanted = understand(query);
    if (!wanted) {
        return {errSecParam, std::nullopt};
    }
    if (const OSStatus status = open(); status != errSecSuccess) {
        return {status, std::nullopt};
    }
    m_prompt.begin();
    PropertyArray items;
    for (KeychainEntryRef& entry : identitiesOn(m_database->tokens())) {
        items.push_back(itemOf(std::move(entry), *wanted));
    }
    if (items.empty()) {
        return {statusOfNothing(m_prompt.outcome()), std::nullopt};
    }
    return {errSecSuccess, std::move(items)};
}

SecResult<SecKeyRef> NssSecurity::SecIdentityCopyPrivateKey(const SecIdentityRef& identity) {
    KeychainEntryRef entry = entryOf<EntryIdentity>(identity);
    if (!entry) {
        return {errSecInvalidItemRef, std::nullopt};
    }
    return {errSecSuccess, std::make_shared<EntryKey>(std::move(entry))};
}

SecResult<SecCertificateRef> NssSecurity::SecIdentityCopyCertificate(
    const SecIdentityRef& identity) {
    KeychainEntryRef entry = entryOf<EntryIdentity>(identity);
    if (!entry) {
        return {errSecInvalidItemRef, std::nullopt};
    }
    return {errSecSuccess, std::make_shared<EntryCertificate>(std::move(entry))};
}

std::optional<Bytes> NssSecurity::SecCertificateCopySerialNumber(
    const SecCertificateRef& certificate) {
    const KeychainEntryRef entry = entryOf<EntryCertificate>(certificate);
    return entry && entry->values() ? std::optional(entry->values()->serialNumber()) : std::nullopt;
}

std::optional<PropertyDictionary> NssSecurity::SecCertificateCopyValues(
    const SecCertificateRef& certificate) {
    const KeychainEntryRef entry = entryOf<EntryCertificate>(certificate);
    return entry && entry->values() ? std::optional(entry->values()->values()) : std::nullopt;
}

bool NssSecurity::SecKeyIsAlgorithmSupported(
    const SecKeyRef& key, SecKeyOperationType operation, SecKeyAlgorithm algorithm) {
    const KeychainEntryRef entry = entryOf<EntryKey>(key);
    const bool known
        = algorithm == SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureDigestPKCS1v15SHA256
        || algorithm == SecKeyAlgorithm::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;
    return entry && known && operation == SecKeyOperationType::sign && entry->publicKey().isRsa;
}

SecSignature NssSecurity::SecKeyCreateSignature(
    const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) {
    const KeychainEntryRef entry = entryOf<EntryKey>(key);
    if (!entry) {
        return {std::nullopt, "This is no private key of the keychain."};
    }
    const X509Values::PublicKey& publicKey = entry->publicKey();
    if (!publicKey.isRsa) {
        return {std::nullopt, "The private key on " + entry->tokenName() + " is not an RSA key."};
    }
    auto input = digestInfo(algorithm, data);
    if (auto* error = std::get_if<std::string>(&input)) {
        return {std::nullopt, std::move(*error)};
    }
    const std::shared_ptr<NssToken> token = entry->token();
    if (!token) {
        return {std::nullopt, "The keychain of this private key is closed."};
    }
    return token->sign(entry->keyId(), std::get<Bytes>(input), (publicKey.bits + 7) / 8);
}

std::optional<std::string> NssSecurity::SecCopyErrorMessageString(OSStatus status) {
    switch (status) {
    case errSecNoDefaultKeychain:
        return "There is no certificate database in " + m_directory + ".";
    case errSecNotAvailable:
        return "The certificate database in " + m_directory + " may not be read.";
    case errSecInvalidKeychain:
        return "The certificate database in " + m_directory + " is damaged.";
    case errSecItemNotFound:
        return "The certificate database in " + m_directory
            + " holds no certificate with a private key.";
    case errSecUserCanceled:
        return "The password of the certificates was not given.";
    case errSecAuthFailed:
        return "The PIN of the certificates is locked, because it was wrong too often.";
    case errSecInteractionNotAllowed:
        return "The certificates are locked, and their password may not be asked for.";
    case errSecInvalidItemRef:
        return "This is no identity of the keychain.";
    case errSecParam:
        return "The keychain does not understand what it was asked for.";
    default:
        return std::nullopt;
    }
}

OSStatus NssSecurity::SecKeychainSetUserInteractionAllowed(bool allowed) {
    m_prompt.setAllowed(allowed);
    return errSecSuccess;
}

} // namespace platform
