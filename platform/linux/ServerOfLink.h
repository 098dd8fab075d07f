// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// The server that a custom URL leads to, as its user should see it: the host in the form in which
/// it is looked up (A-labels in lower case, an IPv6 address in brackets), and the port unless that
/// is the usual one. Empty when the URL names none.
std::string serverOfLink(const std::string& url);

/// The code of a custom URL's room, by which its user tells it from other rooms of that server: six
/// digits of its name's digest. Empty when the URL names no room.
std::string roomCodeOfLink(const std::string& url);

} // namespace platform
