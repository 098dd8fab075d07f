// SPDX-License-Identifier: MIT
#include "platform/linux/security/NssSecurity.h"

#include "platform/linux/security/DigestInfo.h"
#include "platform/linux/security/ImportHelp.h"
#include "platform/linux/security/KeychainEntry.h"
#include "platform/linux/security/KeychainQuery.h"
#include "platform/linux/security/KeychainReport.h"
#include "platform/linux/security/NssDatabase.h"
#include "platform/linux/security/X509Values.h"

#include <map>
#include <vector>

namespace platform {

namespace {

/// One entry for each certificate, though several tokens may hold it: on the first token that shows
/// its private key, or else on the first that vouches for it.
std::vector<KeychainEntryRef> identitiesOn(
    const std::vector<std::shared_ptr<NssToken>>& tokens, Whereabouts& whereabouts) {
    std::vector<KeychainEntryRef> entries;
    std::map<Bytes, std::size_t> places;
    for (const std::shared_ptr<NssToken>& token : tokens) {
        whereabouts.set(token->name());
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

OSStatus statusOf(NssDatabase::OpenFailure failure) {
    switch (failure) {
    case NssDatabase::OpenFailure::missing:
        return errSecNoDefaultKeychain;
    case NssDatabase::OpenFailure::notPermitted:
        return errSecNotAvailable;
    case NssDatabase::OpenFailure::damaged:
        break;
    }
    return errSecInvalidKeychain;
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

/// Tells the host of a certificate while it signs.
class CertificateInUse {
public:
    CertificateInUse(const KeychainHost& host, const std::string& subject)
        : m_host(host) {
        tell(subject);
    }
    CertificateInUse(const CertificateInUse&) = delete;
    CertificateInUse& operator=(const CertificateInUse&) = delete;
    ~CertificateInUse() { tell(""); }

private:
    void tell(const std::string& subject) const {
        if (m_host.certificateInUse) {
            m_host.certificateInUse(subject);
        }
    }

    const KeychainHost& m_host;
};

} // namespace

NssSecurity::NssSecurity(UserInterface& userInterface, KeychainSources sources, KeychainHost host)
    : m_sources(std::move(sources))
    , m_host(std::move(host))
    , m_prompt(userInterface) {
    m_prompt.setNotice(m_host.notice);
}

NssSecurity::~NssSecurity() = default;

OSStatus NssSecurity::open() {
    if (m_database) {
        return errSecSuccess;
    }
    OSStatus status = errSecSuccess;
    aside("the keychain", [&] { status = openSources(); });
    return status;
}

OSStatus NssSecurity::openSources() {
    auto database = NssDatabase::open(
        m_sources, m_prompt, m_whereabouts, [this](const std::string& line) { log(line); });
    if (!database) {
        return errSecNotAvailable;
    }
    if (const auto& failure = database->failure()) {
        if (!database->holdsMore()) {
            return statusOf(*failure);
        }
        log(NssDatabase::openFailureText(*failure, m_sources.database));
    }
    m_database = std::move(database);
    return errSecSuccess;
}

std::string NssSecurity::report(bool unlock) {
    std::string text = "NSS does not begin.\n";
    aside("the keychain", [&] {
        const auto database = m_database
            ? nullptr
            : NssDatabase::open(m_sources, m_prompt, m_whereabouts, [](const std::string&) {});
        if (NssDatabase* const opened = m_database ? m_database.get() : database.get()) {
            text = keychainReport(m_sources.database, *opened, m_whereabouts, unlock);
        }
    });
    return text;
}

void NssSecurity::aside(const std::string& waitingFor, const std::function<void()>& work) {
    m_whereabouts.set(waitingFor);
    if (m_host.aside) {
        m_host.aside([this] { return m_whereabouts.get(); }, work);
    } else {
        work();
    }
}

void NssSecurity::log(const std::string& line) const {
    if (m_host.log) {
        m_host.log(line);
    }
}

OSStatus NssSecurity::SecKeychainCopyDefault() {
    return open();
}

SecResult<PropertyArray> NssSecurity::SecItemCopyMatching(const PropertyDictionary& query) {
    const std::optional<KeychainQuery> wanted = KeychainQuery::read(query);
    if (!wanted) {
        return {errSecParam, std::nullopt};
    }
    if (const OSStatus status = open(); status != errSecSuccess) {
        return {status, std::nullopt};
    }
    m_prompt.begin();
    std::vector<KeychainEntryRef> entries;
    const auto list = [&] { entries = identitiesOn(m_database->tokens(), m_whereabouts); };
    if (m_database->hasModules()) {
        aside("a smart card", list);
    } else {
        list();
    }
    PropertyArray items;
    for (KeychainEntryRef& entry : entries) {
        items.push_back(wanted->itemOf(std::move(entry)));
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
    const CertificateInUse inUse(m_host, entry->subject());
    SecSignature signature;
    const auto sign = [&] {
        signature = token->sign(entry->keyId(), std::get<Bytes>(input), (publicKey.bits + 7) / 8);
    };
    if (token->isCard()) {
        aside(token->name(), sign);
    } else {
        sign();
    }
    return signature;
}

std::string NssSecurity::whereNothingIs() const {
    std::string text = "The certificate database in " + m_sources.database
        + " holds no certificate with a private key.";
    if (m_database) {
        for (const NssDatabase::Profile& profile : m_database->profiles()) {
            text += "\nNor does Firefox's profile in " + profile.path + ".";
        }
        for (const std::shared_ptr<NssToken>& token : m_database->tokens()) {
            if (token->isCard() && token->isPrepared()) {
                text += "\nNor does the card " + token->name() + ".";
            }
        }
    }
    return text + "\n" + importHelp(m_sources.database, true);
}

std::optional<std::string> NssSecurity::SecCopyErrorMessageString(OSStatus status) {
    switch (status) {
    case errSecNoDefaultKeychain:
        return NssDatabase::openFailureText(NssDatabase::OpenFailure::missing, m_sources.database)
            + "\n" + importHelp(m_sources.database, false);
    case errSecNotAvailable:
        return NssDatabase::openFailureText(
            NssDatabase::OpenFailure::notPermitted, m_sources.database);
    case errSecInvalidKeychain:
        return NssDatabase::openFailureText(NssDatabase::OpenFailure::damaged, m_sources.database);
    case errSecItemNotFound:
        return whereNothingIs();
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

void NssSecurity::lock() {
    if (m_database) {
        m_database->lock();
    }
}

void NssSecurity::beginSession() {
    lock();
    m_prompt.refused().beginSession();
}

void NssSecurity::setSessionEnd(std::function<void()> end) {
    m_prompt.refused().setEnd(std::move(end));
}

} // namespace platform
