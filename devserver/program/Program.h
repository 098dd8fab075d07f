// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace devserver {

/// The program: `arguments` without its own name; the exit status, 2 after bad usage.
int runProgram(const std::vector<std::string>& arguments);

} // namespace devserver
