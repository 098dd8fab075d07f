// SPDX-License-Identifier: MIT
// Certificates as tests need them, usual or odd.
#pragma once

#include "platform/Types.h"

#include <ctime>
#include <memory>
#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <vector>

using KeyPair = std::shared_ptr<EVP_PKEY>;

/// `algorithm` is "RSA" or "RSA-PSS" (of 2048 bits), "EC" (P-256) or "ED25519".
KeyPair makeKeyPair(const std::string& algorithm);

struct NameAttribute {
    std::string type; ///< short name or OID
    std::string bytes; ///< the value's content as it stands in the certificate
    int stringType = V_ASN1_UTF8STRING;
    bool sameRdn = false; ///< belongs to the RDN of the attribute before it
};

struct CertificateBuilder {
    std::vector<NameAttribute> subject = {{"CN", "Example Signer"}};
    std::vector<NameAttribute> issuer = {{"CN", "Example Authority"}};
    Bytes serialNumber; ///< the content of the INTEGER; when empty, a number of its own
    std::time_t now = std::time(nullptr); ///< copies build the same certificate, whenever they do
    long validFrom = -3600; ///< seconds from now
    long validTo = 24 * 3600;
    bool isAuthority = false; ///< by its basicConstraints
    std::string keyUsage; ///< in OpenSSL's words; when empty, "keyCertSign" of an authority
    bool hasKeyUsage = true; ///< whether an authority has any
    KeyPair key; ///< an RSA pair when there is none

    /// The certificate in DER, signed with its own key.
    Bytes build();
};

/// The certificate with other DER in the place of one field of its TBSCertificate (RFC 5280, 4.1):
/// 0 is the version, 5 the subject. Its signature does not fit any more.
Bytes withField(BytesView certificate, std::size_t index, BytesView der);

/// The certificate and its key in PKCS #12 under the password "p12".
Bytes pkcs12(BytesView certificate, const KeyPair& key, const char* name);
