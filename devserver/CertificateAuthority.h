// SPDX-License-Identifier: MIT
// A certificate authority of a server's own, made at start and forgotten at its end.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace devserver {

/// What the server's certificate says. The times count from now.
struct CertificateOptions {
    std::vector<std::string> dnsNames = {"localhost"};
    std::vector<std::string> addresses = {"127.0.0.1", "::1"};
    std::chrono::seconds validFrom = -std::chrono::hours(1);
    std::chrono::seconds validTo = std::chrono::hours(24 * 30);
};

/// An authority and the one server certificate that it has issued, both with EC keys on P-256.
class CertificateAuthority {
public:
    /// Nothing, and the reason in `error`, when the cryptographic library refuses.
    static std::optional<CertificateAuthority> make(
        const CertificateOptions& options, std::string& error);

    /// The authority's own certificate, which a client has to trust.
    const std::string& certificatePem() const { return m_certificatePem; }
    const std::string& serverCertificatePem() const { return m_serverCertificatePem; }
    const std::string& serverKeyPem() const { return m_serverKeyPem; }

private:
    CertificateAuthority() = default;

    std::string m_certificatePem;
    std::string m_serverCertificatePem;
    std::string m_serverKeyPem;
};

} // namespace devserver
