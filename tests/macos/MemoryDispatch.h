// SPDX-License-Identifier: MIT
// libdispatch in memory: semaphores, and a main queue that runs when a test says so.
#pragma once

namespace memory {

/// Runs what waits in the main queue, until nothing does. As the main thread's run loop would.
void drainMainQueue();
/// How many calls have been handed to the main queue, ever.
int mainQueueCalls();
/// How often any semaphore has been signalled, ever.
int semaphoreSignals();
/// How often a wait for any semaphore has begun, ever.
int semaphoreWaits();
/// Semaphores created and not released.
int liveSemaphores();

} // namespace memory
