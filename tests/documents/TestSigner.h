// SPDX-License-Identifier: MIT
// A person with a key and a self-signed certificate, who signs as an agent does.
#pragma once

#include <memory>
#include <string>
#include <string_view>

class TestSigner {
public:
    enum class Kind { rsa, elliptic };

    explicit TestSigner(const std::string& name = "Example Signer", Kind kind = Kind::rsa);
    ~TestSigner();

    const std::string& certificateDer() const { return m_certificateDer; }
    std::string certificatePem() const;
    /// A SHA256withRSA signature (or SHA256withECDSA).
    std::string sign(std::string_view data) const;

private:
    struct Key;
    std::unique_ptr<Key> m_key;
    std::string m_certificateDer;
};
