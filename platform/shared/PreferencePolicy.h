// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"
#include "platform/Types.h"

#include <functional>
#include <optional>
#include <string>

namespace platform {

/// What is set under one key of an application's preferences.
struct Preference {
    PropertyValue value;
    bool isForced = false; // by an administrator
};

/// The policy of an administrator among the preferences of an application. A key counts only where
/// its value is forced; what the user may have set is left out with a remark. A value that no
/// policy can hold is told by its description, so that it is refused.
ManagedPolicy policyOfPreferences(std::string source,
    const std::function<std::optional<Preference>(const std::string& key)>& preference);

} // namespace platform
