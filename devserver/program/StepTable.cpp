// SPDX-License-Identifier: MIT
#include "devserver/program/StepTable.h"

#include <chrono>
#include <iomanip>
#include <sstream>

namespace devserver {

namespace {

std::string milliseconds(std::chrono::steady_clock::duration time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1)
         << std::chrono::duration<double, std::milli>(time).count();
    return text.str();
}

} // namespace

void StepTable::writeHeader() {
    writeRow("step", "outcome", "time (ms)", "note");
    writeRow(std::string(24, '-'), std::string(7, '-'), std::string(9, '-'), std::string(4, '-'));
}

StepResult StepTable::run(const std::string& name, const std::function<StepResult()>& step) {
    const auto start = std::chrono::steady_clock::now();
    StepResult result = step();
    writeRow(name, result.ok ? "ok" : "FAILED",
        milliseconds(std::chrono::steady_clock::now() - start), result.ok ? result.text : "");
    return result;
}

void StepTable::writeRow(const std::string& name, const std::string& outcome,
    const std::string& time, const std::string& note) {
    std::ostringstream row;
    row << std::left << std::setw(24) << name << "  " << std::setw(7) << outcome << "  "
        << std::right << std::setw(9) << time;
    if (!note.empty()) {
        row << "  " << note;
    }
    m_out << row.str() << '\n' << std::flush;
}

} // namespace devserver
