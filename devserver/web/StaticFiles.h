// SPDX-License-Identifier: MIT
// The page's files, which are part of the program.
#pragma once

#include "devserver/server/ServerOptions.h"

#include <optional>
#include <string_view>

namespace devserver {

/// The file of a path, with the headers that keep the page to itself.
std::optional<HttpAnswer> staticFile(std::string_view path);

} // namespace devserver
