// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

/// A program that runs beside the test and tells on its descriptor 3, in one line, where it can be
/// reached. Ended at the end.
class Daemon {
public:
    /// Throws when the program does not tell.
    Daemon(const std::vector<std::string>& command,
        const std::map<std::string, std::string>& environment);
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon();

    const std::string& line() const { return m_line; }

private:
    pid_t m_pid = -1;
    std::string m_line;
};
