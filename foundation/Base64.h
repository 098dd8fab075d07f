// SPDX-License-Identifier: MIT
// Base64 with the standard alphabet and padding (RFC 4648, section 4).
#pragma once

#include "foundation/Bytes.h"
#include "foundation/JsonValue.h"

#include <optional>
#include <string>
#include <string_view>

/// Without line breaks.
std::string base64Encoded(BytesView data);

/// Nothing unless the text is whole groups of four alphabet characters, the last padded with "="
/// where needed: no white space, no line breaks, nothing after the padding.
std::optional<Bytes> base64Decoded(std::string_view text);

/// The Base64 text of what `text` decodes to, which is `text` itself but for its last unused bits;
/// nothing when it does not decode.
std::optional<JsonText> base64Canonical(const JsonText& text);
