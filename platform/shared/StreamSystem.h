// SPDX-License-Identifier: MIT
#pragma once

#include "platform/System.h"

#include <string>
#include <vector>

namespace platform {

/// What of a system with standard output and standard error is no call of its platform.
class StreamSystem : public System {
public:
    /// `logs` is the folder, below the user's own, for a log that cannot be had in its usual place.
    StreamSystem(std::vector<std::string> arguments, std::string logs)
        : m_arguments(std::move(arguments))
        , m_logs(std::move(logs)) { }

    std::vector<std::string> arguments() final { return m_arguments; }
    /// Without control characters.
    void print(std::string_view text) final;
    /// With the mode "a+" alone, and only on a file of this user's.
    bool reopenStandardError(const std::string& path, const std::string& mode) final;

protected:
    /// The pieces as one text without NUL, and without control characters as long as there is no
    /// log file.
    std::string textToLog(LogText text) const;

private:
    const std::vector<std::string> m_arguments;
    const std::string m_logs;
    bool m_hasLogFile = false;
};

} // namespace platform
