// SPDX-License-Identifier: MIT
// A certificate authority of a server's own: made at start and forgotten at its end, or kept in a
// folder, so that people need to trust it only once.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct evp_pkey_st; // OpenSSL's EVP_PKEY and X509
struct x509_st;

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

    /// The authority of a folder, made when there is none or when it is about to expire. A kept
    /// authority can vouch for nothing but this machine: for "localhost" and the loopback
    /// addresses.
    static std::optional<CertificateAuthority> kept(
        const std::string& folder, const CertificateOptions& options, std::string& error);
    /// Where the authority's certificate is in that folder.
    static std::string fileIn(const std::string& folder);

    /// The authority's own certificate, which a client has to trust.
    const std::string& certificatePem() const { return m_certificatePem; }
    const std::string& serverCertificatePem() const { return m_serverCertificatePem; }
    const std::string& serverKeyPem() const { return m_serverKeyPem; }

private:
    CertificateAuthority() = default;
    static std::optional<CertificateAuthority> issued(x509_st* authority, evp_pkey_st* authorityKey,
        const CertificateOptions& options, std::string& error);

    std::string m_certificatePem;
    std::string m_serverCertificatePem;
    std::string m_serverKeyPem;
};

} // namespace devserver
