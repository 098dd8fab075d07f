// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/MemoryPlatform.h"

#include <string>

/// How `work` ended the process: "exit STATUS" or "abort", and "runs on" when it did not.
template <typename Work>
std::string endOf(Work&& work) {
    try {
        work();
    } catch (const ProcessExit& end) {
        return "exit " + std::to_string(end.status);
    } catch (const ProcessAbort&) {
        return "abort";
    }
    return "runs on";
}
