// SPDX-License-Identifier: MIT
// libdispatch in memory: semaphores, and queues that run, and whose time passes, when a test says
// so. For one thread, but for the semaphores.
#pragma once

#include <chrono>

namespace memory {

/// Runs what waits in the main queue, until nothing does. As the main thread's run loop would.
void drainMainQueue();
/// The same for the queues that have been created.
void drainOtherQueues();
/// Lets the time pass for what was handed over with a delay; it is then ready to be drained.
void passTime(std::chrono::nanoseconds duration);
/// Semaphores created and not released.
int liveSemaphores();
/// Of all queues that were made.
bool haveQueuesAnAutoreleasePoolForEachItem();

} // namespace memory
