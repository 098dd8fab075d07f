// SPDX-License-Identifier: MIT
// Base64 with the standard alphabet and padding (RFC 4648, section 4).
#pragma once

#include "foundation/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

/// Without line breaks.
std::string base64Encoded(BytesView data);

/// Nothing unless the text is whole groups of four alphabet characters, the last padded with "="
/// where needed: no white space, no line breaks, nothing after the padding.
std::optional<Bytes> base64Decoded(std::string_view text);
