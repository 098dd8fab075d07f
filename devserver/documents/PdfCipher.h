// SPDX-License-Identifier: MIT
// The ciphers of encrypted PDFs (ISO 32000-2, 7.6.3).
#pragma once

#include <string>
#include <string_view>

namespace devserver {

std::string rc4(std::string_view key, std::string_view bytes);

/// AES in CBC mode with padding, behind a random initialisation vector; the key's length tells
/// whether AES-128 or AES-256. Empty on failure.
std::string aesCbc(std::string_view key, std::string_view bytes);

} // namespace devserver
