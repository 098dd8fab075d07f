// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"

#include <string>

namespace platform {

/// The policy among the preferences of an application. A key counts only where an administrator
/// forces its value (a configuration profile); what the user may have set is left out with a
/// remark.
ManagedPolicy managedPreferences(const std::string& applicationIdentifier);

} // namespace platform
