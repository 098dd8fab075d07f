// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace devserver {

/// Has xdg-open show an address, and does not wait for it. Nothing on success, else the cause.
std::optional<std::string> openInBrowser(const std::string& address);

} // namespace devserver
