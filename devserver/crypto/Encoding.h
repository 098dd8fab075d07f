// SPDX-License-Identifier: MIT
// Base64, digests and certificates as the messages carry them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// Standard Base64 with padding, on one line (RFC 4648, section 4). Up to 1 GiB.
std::string base64Encoded(std::string_view bytes);

/// The bytes; nothing when the text is anything but Base64 on one line with right padding.
std::optional<std::string> base64Decoded(std::string_view text);

/// The 20 bytes of a SHA-1 digest, by which the agent tells certificates apart.
std::string sha1(std::string_view bytes);

/// A DER certificate as PEM; nothing when the bytes are not exactly one certificate.
std::optional<std::string> certificatePemOfDer(std::string_view der);

} // namespace devserver
