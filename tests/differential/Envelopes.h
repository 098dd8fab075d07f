// SPDX-License-Identifier: MIT
// The frames that a server sends, commands of all kinds in them.
#pragma once

#include "tests/differential/Scenario.h"

namespace differential {

ServerFrame makeFrame(Random& random, const Scenario& scenario);

} // namespace differential
