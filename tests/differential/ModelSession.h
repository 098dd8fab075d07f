// SPDX-License-Identifier: MIT
#pragma once

#include "tests/differential/Scenario.h"
#include "tests/differential/Story.h"

namespace differential {

/// From the connection to the end of the process.
void runSession(Story& story, const Scenario& scenario);

} // namespace differential
