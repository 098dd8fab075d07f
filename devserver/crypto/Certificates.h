// SPDX-License-Identifier: MIT
// Certificates of an authority and of a server (RFC 5280) with EC keys on P-256. For .cpp files
// alone.
#pragma once

#include "devserver/crypto/CertificateAuthority.h"
#include "devserver/crypto/OpenSsl.h"

#include <string>

namespace devserver {

/// Null when the cryptographic library refuses, like the results below.
openssl::Key makeKey();

/// A kept authority is valid for two years and can vouch for nothing but this machine; another one
/// as long as a server's certificate is by default.
openssl::Certificate makeAuthority(EVP_PKEY* key, bool isKept);

openssl::Certificate makeServerCertificate(
    EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey, const CertificateOptions& options);

std::string pemOf(X509* certificate);
std::string pemOf(EVP_PKEY* key);

} // namespace devserver
