// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/server/Server.h"

#include <string>

namespace devserver {

/// Where the page of a running server is.
std::string pageAddress(const Server& server);

/// What a person needs to know of a running server: the page's address, the authority's certificate
/// and how to trust it.
/// `trust` is the command that does so.
std::string introductionOf(
    const Server& server, const std::string& authorityFile, const std::string& trust);
/// The same for a room: the link, and a command that starts an agent with it.
std::string introductionOfRoom(
    const Server& server, const std::string& authorityFile, const std::string& room);

} // namespace devserver
