// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// An abort leaves no core file. What is started later may ask for its own again.
void forbidCoreFile();

} // namespace platform
