// SPDX-License-Identifier: MIT
// NSS databases in folders of their own, made with the tools of NSS.
#pragma once

#include "CertificateBuilder.h"
#include "platform/Security.h"
#include "platform/UserInterface.h"

#include <filesystem>
#include <string>
#include <vector>

/// Runs a program to its end, without its output; whether it ended with status 0.
bool run(const std::vector<std::string>& command);

/// A temporary folder. Nothing is in it but what a test puts there.
class NssDirectory {
public:
    /// `name` is the last part of the folder's path.
    explicit NssDirectory(const std::string& name = "nssdb");
    ~NssDirectory();
    NssDirectory(const NssDirectory&) = delete;
    NssDirectory& operator=(const NssDirectory&) = delete;

    std::string path() const { return m_path.string(); }

    /// A new database; an empty password is none.
    void create(const std::string& password = "");
    /// Adds the certificate with its key; builds both. Returns the certificate in DER.
    Bytes addIdentity(CertificateBuilder builder, const std::string& name = "signer");
    Bytes addCertificate(CertificateBuilder builder, const std::string& name);
    /// Adds `count` identities "Identity 0001", ... that show no public keys beside their keys.
    void addManyIdentities(int count);
    /// Adds a PKCS #11 module to the database's list.
    void addModule(const std::string& name, const std::string& library) const;
    void changePassword(const std::string& password);
    void removeKeyAndCertificate(const std::string& name);

private:
    std::string write(const std::string& fileName, BytesView content) const;
    std::string writePassword(const std::string& password) const;

    std::filesystem::path m_parent;
    std::filesystem::path m_path;
    std::string m_password;
};

/// Answers password questions from a list; cancels when it is used up.
class ScriptedUserInterface final : public platform::UserInterface {
public:
    std::vector<std::string> passwords;
    std::vector<std::string> questions; ///< the token's name, with " again" after a wrong answer
    std::vector<std::string> alerts; ///< their messages
    int response = platform::NSAlertFirstButtonReturn; ///< to each alert

    platform::NSTextView* statusTextView() override { return nullptr; }
    int runModal(const platform::NSAlert& alert) override {
        alerts.push_back(alert.messageText);
        return response;
    }
    void deliverNotification(const platform::NSUserNotification&) override { }
    bool openURL(const std::string&) override { return false; }
    std::optional<std::string> askForPassword(const std::string& tokenName, bool again) override;
};

/// The query of a listing: all identities, as data and references.
platform::PropertyDictionary allIdentities();

/// What one item of a listing leads to.
struct ListedIdentity {
    Bytes der;
    platform::SecIdentityRef identity;
    platform::SecCertificateRef certificate;
    platform::SecKeyRef key;
    std::string commonName; ///< the first; empty without any
};

/// The listing, which must succeed; empty with a test failure otherwise.
std::vector<ListedIdentity> listed(platform::Security& security);

/// Whether `signature` is a PKCS #1 v1.5 signature under the public key of the certificate.
bool verifiesSha256Digest(BytesView certificate, BytesView digest, const Bytes& signature);
bool verifiesSha1Message(BytesView certificate, BytesView message, const Bytes& signature);
