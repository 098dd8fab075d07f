// SPDX-License-Identifier: MIT
#include "tests/differential/Story.h"

namespace differential {

void Story::alert(const std::string& message, const std::string& details) {
    add("log: FATAL ERROR: " + message + ", details: " + details);
    add("alert: " + message + " | " + details);
    add("dismissed");
    add("log: Exiting application after fatal error");
    exit(1);
}

void Story::abort() {
    add("log: Fatal error: " + anyWords);
    add("abort");
    throw End();
}

} // namespace differential
