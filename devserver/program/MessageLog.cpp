// SPDX-License-Identifier: MIT
#include "devserver/program/MessageLog.h"

#include "devserver/server/Envelope.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace devserver {

namespace {

std::string timeOfDay() {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    const hh_mm_ss time(duration_cast<milliseconds>(now % days(1)));
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
        static_cast<int>(time.subseconds().count()));
    return text;
}

} // namespace

void MessageLog::note(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    m_out << timeOfDay() << "  " << text << '\n' << std::flush;
}

void MessageLog::sent(std::string_view envelope) {
    note("to agent    " + foldedEnvelope(envelope));
}

void MessageLog::received(std::string_view envelope) {
    note("from agent  " + foldedEnvelope(envelope));
}

} // namespace devserver
