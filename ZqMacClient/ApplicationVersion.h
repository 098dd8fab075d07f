// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

/// The main bundle's "CFBundleShortVersionString"; nothing when it is missing or not text.
std::optional<std::string> applicationVersion();

/// The running system's version as major.minor.patch.
std::string systemVersionText();
