// SPDX-License-Identifier: MIT
// Certificates for servers on the loopback interface, made with OpenSSL.
#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <vector>

struct TestIdentity {
    std::shared_ptr<X509> certificate;
    std::shared_ptr<EVP_PKEY> key;
};

struct CertificateRequest {
    std::string commonName = "localhost";
    std::string alternativeNames = "DNS:localhost,IP:127.0.0.1"; // none when empty
    long validFromSeconds = -3600; // from now
    long validForSeconds = 86400; // from now
    bool isAuthority = false;
};

/// Signed by `issuer`, or by its own key when that is null.
TestIdentity makeIdentity(const CertificateRequest& request, const TestIdentity* issuer);

/// The authority that the tests' process trusts, through SSL_CERT_FILE.
const TestIdentity& trustedAuthority();

/// A server certificate of the trusted authority.
TestIdentity trustedIdentity(const CertificateRequest& request = {});

std::string pemOf(const X509& certificate);
