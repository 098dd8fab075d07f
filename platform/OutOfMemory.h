// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// From now on memory that runs out ends the process: with a line in the installed platform's log
/// that begins with "Fatal error: ", and an abort signal.
void endWhenMemoryRunsOut();

} // namespace platform
