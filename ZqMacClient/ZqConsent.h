// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/ZqCertificate.h"
#include "ZqMacClient/ZqGatekeeper.h"
#include "foundation/Bytes.h"

#include <cstdint>
#include <string>

/// What the server of one session may have of the user: each list of certificates and each
/// signature is held against the policy, and the user is asked where the policy says so. What is
/// not allowed ends the process with status 1; nothing has been sent then. Main thread.
class ZqConsent {
public:
    ZqConsent(ZqGatekeeper gatekeeper, platform::NetworkHost server, std::uint64_t port,
        const std::string& roomId);

    void beforeListing();
    /// Before a certificate is looked for.
    void beforeSigning(BytesView content, const std::string& algorithm);
    /// Before its key signs.
    void beforeSignature(const ZqCertificate& certificate, BytesView content);

    /// After each list and each signature, made or not.
    void afterUse() const { m_gatekeeper.noteUse(); }

    /// Six digits by which the user tells the room that the server shows from another.
    static std::string roomCode(const std::string& roomId);

private:
    void holdAgainstContentRule(BytesView content, const std::string& algorithm) const;
    void askForSession();
    void ask(const std::string& subject, const std::string& allow, const std::string& logged) const;

    ZqGatekeeper m_gatekeeper;
    platform::NetworkHost m_server;
    std::uint64_t m_port;
    std::string m_roomCode;
    bool m_isSessionAllowed = false;
    unsigned long m_signatures = 0; // that were allowed
};
