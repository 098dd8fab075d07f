// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace devserver {

/// How a step went: on success a note for people, else the cause as a sentence.
struct StepResult {
    bool ok = true;
    std::string text;

    static StepResult failure(std::string cause) { return {false, std::move(cause)}; }
};

} // namespace devserver
