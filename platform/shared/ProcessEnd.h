// SPDX-License-Identifier: MIT
// The end of the process, after what was handed to the network for sending has gone out.
#pragma once

namespace platform {

/// Flushes the installed platform's network, for 5 seconds at most.
void flushNetwork();

/// `flushNetwork`, then `std::exit` or `std::abort`. From any thread.
[[noreturn]] void flushAndExit(int status);
[[noreturn]] void flushAndAbort();

} // namespace platform
