// SPDX-License-Identifier: MIT
// The texts of X.509 names as UTF-8.
#pragma once

#include "platform/linux/security/DerReader.h"

#include <string>

namespace platform {

/// The value as well-formed UTF-8; what is no character becomes U+FFFD. UniversalString is read
/// as UTF-32, BMPString as UTF-16 (some writers put surrogate pairs there), TeletexString as
/// Latin-1 (what everybody writes into it), the other text types as UTF-8. NUL and line breaks
/// are kept. A value that is no text becomes "#" and its DER in hexadecimal (RFC 4514, 2.4).
std::string utf8Text(const DerElement& value);

} // namespace platform
