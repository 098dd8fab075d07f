// SPDX-License-Identifier: MIT
// What PKCS #1 v1.5 signs.
#pragma once

#include "platform/Security.h"

#include <string>
#include <variant>

namespace platform {

/// The DigestInfo (RFC 8017, 9.2) for a signature of `data`, or why there is none.
std::variant<Bytes, std::string> digestInfo(SecKeyAlgorithm algorithm, BytesView data);

} // namespace platform
