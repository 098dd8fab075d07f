// SPDX-License-Identifier: MIT
#pragma once

#include "tests/differential/Scenario.h"
#include "tests/differential/Story.h"

namespace differential {

/// What must happen in a run, event by event as tests/support/MemoryPlatform.h records them.
std::vector<std::string> expectedEvents(const Scenario& scenario);

} // namespace differential
