// SPDX-License-Identifier: MIT
// The keychain of Linux: the user's NSS database, the profiles of browsers, smart cards.
#pragma once

#include "platform/Security.h"
#include "platform/linux/security/KeychainSources.h"
#include "platform/linux/security/PasswordPrompt.h"
#include "platform/linux/security/Whereabouts.h"

#include <functional>
#include <memory>
#include <string>

namespace platform {

class NssDatabase;

/// Further statuses of the platform that this keychain answers with.
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecInvalidKeychain = -25295;
inline constexpr OSStatus errSecInvalidItemRef = -25304;
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;

/// The sources are opened for reading at first need and stays open for this object's life.
/// References that outlive it still tell what they are, but sign nothing.
class NssSecurity final : public Security {
public:
    /// `userInterface` outlives this object; it is asked for the passwords of locked tokens, once
    /// that is allowed.
    explicit NssSecurity(UserInterface& userInterface,
        KeychainSources sources = KeychainSources::ofUser(), KeychainHost host = {});
    /// One database alone, and the modules of its list.
    NssSecurity(UserInterface& userInterface, std::string databaseDirectory)
        : NssSecurity(userInterface, KeychainSources{std::move(databaseDirectory), "", false}) { }
    ~NssSecurity() override;

    /// When nothing can be opened, it is the user's database that tells why:
    /// errSecNoDefaultKeychain without one, errSecNotAvailable when it may not be read,
    /// errSecInvalidKeychain when it is damaged.
    OSStatus SecKeychainCopyDefault() override;

    /// Understands identities ("class" = "idnt") without limit ("m_Limit" = "m_LimitAll") as data
    /// ("r_Data"), references ("r_Ref"), or dictionaries of both; errSecParam for anything else.
    /// Order: databases before the tokens of modules, the certificates of a token in the token's
    /// order. A certificate that is on two tokens gives one identity. A certificate that cannot be
    /// read is listed, and has neither serial number nor values. Without any identity
    /// errSecItemNotFound; errSecUserCanceled, errSecAuthFailed or errSecInteractionNotAllowed when
    /// a locked token may hide some.
    SecResult<PropertyArray> SecItemCopyMatching(const PropertyDictionary& query) override;

    /// Costs nothing and asks for nothing: the token's key is looked up when it signs.
    SecResult<SecKeyRef> SecIdentityCopyPrivateKey(const SecIdentityRef& identity) override;
    SecResult<SecCertificateRef> SecIdentityCopyCertificate(
        const SecIdentityRef& identity) override;
    std::optional<Bytes> SecCertificateCopySerialNumber(
        const SecCertificateRef& certificate) override;
    std::optional<PropertyDictionary> SecCertificateCopyValues(
        const SecCertificateRef& certificate) override;

    /// Decided by the public key in the certificate, so a locked token stays locked.
    bool SecKeyIsAlgorithmSupported(
        const SecKeyRef& key, SecKeyOperationType operation, SecKeyAlgorithm algorithm) override;
    SecSignature SecKeyCreateSignature(
        const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView data) override;

    std::optional<std::string> SecCopyErrorMessageString(OSStatus status) override;

    /// Not allowed until this is called with true.
    OSStatus SecKeychainSetUserInteractionAllowed(bool allowed) override;

    /// What there is, in words for whoever helps a user. `unlock` allows to ask for passwords.
    std::string report(bool unlock);

    /// Locks all tokens: what was unlocked for one server is not for the next.
    void lock();
    /// The same, and what the user refused in the session before is asked for again.
    void beginSession();
    /// What to call when the user wants to end the session that asks for a refused password again.
    void setSessionEnd(std::function<void()> end);

private:
    OSStatus open();
    OSStatus openSources();
    void aside(const std::string& waitingFor, const std::function<void()>& work);
    void log(const std::string& line) const;
    std::string whereNothingIs() const;

    KeychainSources m_sources;
    KeychainHost m_host;
    PasswordPrompt m_prompt;
    Whereabouts m_whereabouts;
    std::unique_ptr<NssDatabase> m_database; // declared last: closed first
};

} // namespace platform
