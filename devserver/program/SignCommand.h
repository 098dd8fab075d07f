// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/program/CommandLine.h"

#include <ostream>

namespace devserver {

/// Signs the files of `options` in one session; the exit status. The table of steps and the result
/// go to `out`, the cause of a failure to `err`.
int runSign(const SignOptions& options, std::ostream& out, std::ostream& err);

} // namespace devserver
