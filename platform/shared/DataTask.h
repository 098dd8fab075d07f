// SPDX-License-Identifier: MIT
// The data task of a platform that follows redirects by itself, to https only.
#pragma once

#include "platform/Network.h"
#include "platform/shared/WorkQueue.h"

namespace platform {

/// A task that does `resume` when it is resumed.
std::unique_ptr<URLSessionDataTask> makeDataTask(std::function<void()> resume);

/// A task that is refused before anything is done for it: when it is resumed, `queue` tells so.
std::unique_ptr<URLSessionDataTask> makeRefusedDataTask(
    WorkQueue& queue, DataTaskCompletion completion, std::string words);

/// Calls `completion` with what a task ended with. An answer of any status is one; so is a redirect
/// that was not followed.
void completeDataTask(const DataTaskCompletion& completion, std::optional<std::string> error,
    std::optional<std::string> data, const URLResponse& response);

} // namespace platform
