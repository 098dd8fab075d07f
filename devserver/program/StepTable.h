// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/session/StepResult.h"

#include <functional>
#include <ostream>
#include <string>

namespace devserver {

/// A table that grows by a row as each step ends: name, outcome, time, note.
class StepTable {
public:
    explicit StepTable(std::ostream& out)
        : m_out(out) { }

    void writeHeader();
    /// Takes the step, measures and writes it.
    StepResult run(const std::string& name, const std::function<StepResult()>& step);

private:
    void writeRow(const std::string& name, const std::string& outcome, const std::string& time,
        const std::string& note);

    std::ostream& m_out;
};

} // namespace devserver
