// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace devserver {

/// 128 random bits in hexadecimal, so that only those who were given a room's name know it.
std::string newRoomId();

/// Six digits of the SHA-256 digest of a room's name. The user compares them with those that the
/// agent shows: the room is the one of this page.
std::string roomCode(const std::string& roomId);

} // namespace devserver
