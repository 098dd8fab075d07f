// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/Server.h"

#include <string>

namespace devserver {

/// What a person needs to know of a running server: its address, the authority that it asks to be
/// trusted, the link for a room, and a command that starts an agent with them.
std::string introductionOf(
    const Server& server, const std::string& authorityPath, const std::string& room);

} // namespace devserver
