// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/program/CommandLine.h"

#include <ostream>

namespace devserver {

/// Runs the session of `sign-demo`; the exit status. The table goes to `out`, a failure's sentence
/// to `err`.
int runSignDemo(const DemoOptions& options, std::ostream& out, std::ostream& err);

} // namespace devserver
