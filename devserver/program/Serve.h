// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/program/CommandLine.h"
#include "devserver/program/LineReader.h"

#include <ostream>

namespace devserver {

/// Serves, and obeys the lines of `input`, until "quit" or a stop; the exit status.
int runServe(const ServeOptions& options, LineReader& input, std::ostream& out, std::ostream& err);

} // namespace devserver
