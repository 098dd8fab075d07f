// SPDX-License-Identifier: MIT
// What the keychain tells about one X.509 certificate (RFC 5280), read from its DER bytes alone.
#pragma once

#include "platform/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace platform {

class X509Values {
public:
    /// Nothing when the bytes are anything but exactly one certificate in DER. Only what a value
    /// comes from is read; validity, most extensions and signature are passed over, the public key
    /// waits until it is asked for: its decoding would cost more than everything else together.
    /// OpenSSL's own X509 would also refuse the names with ill-formed text that some issuers write.
    static std::optional<X509Values> parse(BytesView der);

    /// The content bytes of the serialNumber INTEGER as they stand in the certificate: big endian,
    /// two's complement, with the leading zero byte of a positive number whose high bit is set.
    const Bytes& serialNumber() const { return m_serialNumber; }

    /// Property dictionaries ("type", "label", "localized label", "value") by OID:
    /// - common name: "array", the texts of all common names of the subject, in the certificate's
    ///   order; no entry when there is none
    /// - issuer and subject name: "section", one "string" dictionary for each attribute in the
    ///   certificate's order, labelled by its OID; an RDN of several attributes is a nested
    ///   "section" of them
    /// - version ("3") and serial number (hexadecimal): "string"
    PropertyDictionary values() const;

    /// The subject's texts in order, joined with ", ", on one line.
    std::string subjectText() const;
    /// The serial number in hexadecimal, bytes joined with ":".
    std::string serialText() const;

    struct PublicKey {
        std::string algorithm; ///< "RSA", "EC", "DSA", ...; empty when it is not known
        std::size_t bits = 0;
        /// A plain RSA key, which makes PKCS #1 v1.5 signatures. A key bound to RSASSA-PSS is not.
        bool isRsa = false;
    };
    PublicKey publicKey() const;

    /// Whether it says of itself that it is to issue others: by basicConstraints and keyUsage, of
    /// which an authority has both (RFC 5280, 4.2.1.3 and 4.2.1.9). A certificate that its owner
    /// made with common tools often has the first alone.
    bool isOfAuthority() const { return m_isOfAuthority; }

    struct Attribute {
        std::string oid;
        std::string label; ///< a readable name; the OID when there is none
        std::string text; ///< well-formed UTF-8
    };
    using Rdn = std::vector<Attribute>;
    using Name = std::vector<Rdn>;

private:
    X509Values() = default;

    std::uint64_t m_version = 1;
    bool m_isOfAuthority = false;
    Bytes m_serialNumber;
    Name m_issuer;
    Name m_subject;
    Bytes m_publicKeyInfo; // SubjectPublicKeyInfo in DER
};

} // namespace platform
