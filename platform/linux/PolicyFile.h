// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"

#include <string>
#include <sys/types.h>

namespace platform {

/// Where an administrator's policy stands. Fixed: what a user can set must not lead elsewhere.
inline constexpr const char* policyFolder = "/etc/quillet";
inline constexpr const char* policyFileName = "policy.json";

/// Reads `name` in `folder`. Neither may be a link; both must belong to `owner` and nobody else may
/// write them; the file is a regular one of 64 KiB at most. It is absent only when there is no
/// file, or no folder, of that name.
ManagedPolicy readPolicyFile(const std::string& folder, const std::string& name, uid_t owner = 0);

} // namespace platform
