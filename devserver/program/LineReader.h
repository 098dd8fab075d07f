// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace devserver {

/// Lines of a descriptor, until it ends or the user asks the program to end.
class LineReader {
public:
    /// `stop` becomes readable when the reading is to end.
    LineReader(int input, int stop)
        : m_input(input)
        , m_stop(stop) { }

    /// The next line without its end. Nothing once the program is to end; an input that is over is
    /// waited on no longer, the stop is.
    std::optional<std::string> next();

private:
    bool takeInput();

    int m_input; // -1 once it is over
    int m_stop;
    std::string m_pending;
};

/// A descriptor that becomes readable when SIGINT or SIGTERM arrives, from now on.
int endRequests();

} // namespace devserver
