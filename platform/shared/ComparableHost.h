// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A name of A-labels, or an address without brackets, in the form in which hosts are compared.
/// `display` is what people call it; empty when that is the same.
NetworkHost comparableHost(std::string_view ascii, std::string_view display = {});

/// The same of a host as a link has it (percent-encoded, an address with or without brackets), on a
/// system that does not tell how it reads an international name: such a name is none.
std::optional<NetworkHost> asciiHostToConnect(const std::string& host);

} // namespace platform
