// SPDX-License-Identifier: MIT
// What a signing server writes in a session, byte by byte, made without the code that reads it.
#pragma once

#include "foundation/Base64.h"
#include "tests/support/ReferenceDigests.h"

#include <string>
#include <string_view>

/// What a server knows the identity "Alice" by, whose bytes are the name.
inline const std::string certificateDigest = base64Encoded(referenceSha1(bytesOf("Alice")));

/// The 101 answer to an upgrade request (RFC 6455, section 4.2.2).
std::string upgradeAnswer(const std::string& request);

/// A WebSocket frame of a server: not masked (RFC 6455, section 5.2).
std::string serverFrame(unsigned opcode, std::string_view payload, bool isFinal = true);

/// The frames of a session that exercises everything: CONNECTED, greeting, two commands for a
/// signature by "Alice", split messages, several STOMP frames in one, heart-beats and a ping.
std::string sessionBytes();

/// A close frame.
std::string closeBytes(unsigned code);
