// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

/// What the platform's log call makes of a text that it is given as the format, without arguments:
/// "%%" becomes "%", any other directive "(null)". A per-cent sign that begins no directive
/// because the text ends there stands for itself.
std::string logFormatted(std::string_view format);
