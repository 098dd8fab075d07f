// SPDX-License-Identifier: MIT
#pragma once

namespace devserver {

/// A descriptor that becomes readable when SIGINT or SIGTERM arrives, from now on; -1 on failure.
int stopSignals();

/// Waits until a descriptor is readable.
void waitUntilReadable(int descriptor);

} // namespace devserver
