// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace devserver {

/// 128 random bits in hexadecimal, so that only those who were given a room's name know it.
std::string newRoomId();

} // namespace devserver
