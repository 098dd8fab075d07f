// SPDX-License-Identifier: MIT
#include "platform/linux/security/KeychainReport.h"

#include "platform/linux/security/NssDatabase.h"
#include "platform/linux/security/X509Values.h"

#include <algorithm>
#include <map>

namespace platform {

namespace {

std::string titleOf(const NssCertificate& certificate) {
    const auto values = X509Values::parse(certificate.der);
    if (!values) {
        return "(unreadable)";
    }
    const std::string subject = values->subjectText();
    const X509Values::PublicKey key = values->publicKey();
    return (subject.empty() ? "(no subject)" : subject) + ", serial number " + values->serialText()
        + (key.algorithm.empty() ? ""
                                 : ", " + key.algorithm + " " + std::to_string(key.bits) + "-bit");
}

/// What the program cannot do with a certificate that it lists.
std::string remarkOn(const NssCertificate& certificate) {
    const auto values = X509Values::parse(certificate.der);
    if (!values) {
        return ", but cannot be read: listing ends with an error";
    }
    return values->publicKey().isRsa ? "" : ", but cannot sign: its key is not an RSA key";
}

std::string stateOf(const NssToken& token) {
    if (!token.isPrepared()) {
        return "not prepared for use";
    }
    switch (token.pinState()) {
    case PinState::locked:
        return "its PIN is locked";
    case PinState::lastTry:
        return "locked, one try is left for its PIN";
    case PinState::fewTries:
        return "locked, few tries are left for its PIN";
    case PinState::usual:
        break;
    }
    return token.isLocked() ? "locked" : "open";
}

/// Tells of one token, and notes which certificates are offered by which token.
class TokenReport {
public:
    explicit TokenReport(std::map<Bytes, std::string>& offered)
        : m_offered(offered) { }

    std::string of(NssToken& token, bool unlock) {
        const auto offered = unlock ? token.userCertificates() : token.shownCertificates();
        std::string text = "Token " + token.name() + ": " + stateOf(token) + "\n";
        for (const NssCertificate& certificate : token.allCertificates()) {
            text += "    " + titleOf(certificate) + ": " + fateOf(certificate, offered, token)
                + "\n";
        }
        return text;
    }

private:
    std::string fateOf(const NssCertificate& certificate,
        const std::vector<NssCertificate>& offered, const NssToken& token) {
        const bool isOffered = std::any_of(offered.begin(), offered.end(),
            [&](const NssCertificate& other) { return other.der == certificate.der; });
        if (!isOffered) {
            return token.isLocked() ? "not offered while locked: no public key beside it"
                                    : "not offered: no private key beside it";
        }
        const auto [place, isNew] = m_offered.try_emplace(certificate.der, token.name());
        return isNew ? "offered" + remarkOn(certificate)
                     : "not offered again: it is on " + place->second + ", too";
    }

    std::map<Bytes, std::string>& m_offered;
};

} // namespace

std::string keychainReport(const std::string& databaseDirectory, NssDatabase& database,
    Whereabouts& whereabouts, bool unlock) {
    const auto failure = database.failure();
    std::string text = failure ? NssDatabase::openFailureText(*failure, databaseDirectory) + "\n"
                               : "Certificate database " + databaseDirectory + ": open\n";
    for (const NssDatabase::Profile& profile : database.profiles()) {
        text += "Firefox profile " + profile.path + ": "
            + (profile.isOpen ? "open" : "cannot be opened") + "\n";
    }
    for (const CardModule& module : database.modules()) {
        text += "Module " + module.name + " ("
            + (module.library.empty() ? "" : module.library + ", ") + "named by " + module.source
            + "): " + (module.problem.empty() ? "loaded" : "left out, " + module.problem) + "\n";
    }
    std::map<Bytes, std::string> offered;
    TokenReport report(offered);
    for (const std::shared_ptr<NssToken>& token : database.tokens()) {
        whereabouts.set(token->name());
        text += report.of(*token, unlock);
    }
    return text + (offered.empty() ? "No certificate is offered.\n" : "");
}

} // namespace platform
