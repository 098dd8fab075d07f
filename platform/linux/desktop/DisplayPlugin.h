// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace platform {

/// The name of the Qt platform plugin for a display that the environment names, once it is certain
/// that the plugin loads and the display answers: Qt itself would abort the process. X11 is
/// preferred where both are there. Empty, with the cause in `problem`, when there is none.
std::string usableDisplayPlugin(std::string& problem);

} // namespace platform
