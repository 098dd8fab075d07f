// SPDX-License-Identifier: MIT
// The certificates of the user's NSS database that have a private key, looked for anew each time.
#pragma once

#include "foundation/Bytes.h"

#include <string>
#include <string_view>
#include <vector>

struct Identity {
    Bytes keyId;
    Bytes der;
    std::string digest; // Base64 of the certificate's SHA-1
    std::string name, subject, issuer;
    std::string serial; // as the text of a JSON string
};

std::vector<Identity> identities();

/// Base64 of the PKCS #1 v1.5 signature of the bytes' SHA-256.
std::string signatureOf(const Identity& identity, BytesView bytes);
