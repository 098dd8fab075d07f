// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/program/CommandLine.h"

#include <ostream>

namespace devserver {

/// Serves the page until the descriptor `stop` is readable; the exit status.
int runServe(const ServeOptions& options, int stop, std::ostream& out, std::ostream& err);

} // namespace devserver
