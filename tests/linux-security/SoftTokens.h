// SPDX-License-Identifier: MIT
// Smart cards in software: tokens of SoftHSM in a folder of their own.
#pragma once

#include "CertificateBuilder.h"
#include "tests/support/TemporaryFolder.h"

#include <string>

/// The tokens that SoftHSM shows in this process and its children.
class SoftTokens {
public:
    static constexpr const char* pin = "1234";

    SoftTokens();
    ~SoftTokens();
    SoftTokens(const SoftTokens&) = delete;
    SoftTokens& operator=(const SoftTokens&) = delete;

    /// What SoftHSM is loaded from.
    static std::string module();

    void create(const std::string& label) const;
    /// What a token shows of one identity.
    struct Objects {
        bool key = true;
        bool publicKey = true;
        bool certificate = true;
        bool isCertificatePrivate = false;
        bool alwaysAuthenticates = false; ///< the key wants a PIN for each use
    };
    /// Builds the certificate and stores it under an identifier of its own, which is returned with
    /// it.
    struct Stored {
        std::string id;
        Bytes certificate;
    };
    Stored add(const std::string& label, CertificateBuilder builder, Objects objects) const;
    Stored add(const std::string& label, CertificateBuilder builder) const;
    /// A key with these bytes in the place of its certificate.
    Stored addBytes(const std::string& label, const Bytes& certificate) const;
    /// `kind` is key, public or certificate.
    void remove(const std::string& label, const std::string& id, const std::string& kind) const;

private:
    Stored store(const std::string& label, const Bytes& certificate, const KeyPair& key,
        Objects objects) const;

    TemporaryFolder m_folder;
};
