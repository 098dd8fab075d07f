// SPDX-License-Identifier: MIT
// The data task of a platform that follows redirects by itself, to https only.
#pragma once

#include "platform/Network.h"

namespace platform {

/// A task that does `resume` when it is resumed.
std::unique_ptr<URLSessionDataTask> makeDataTask(std::function<void()> resume);

/// Calls `completion` with what a task ended with. An answer of any status is one; so is a redirect
/// that was not followed.
void completeDataTask(const DataTaskCompletion& completion, std::optional<std::string> error,
    std::optional<std::string> data, const URLResponse& response);

} // namespace platform
