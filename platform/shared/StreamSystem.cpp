// SPDX-License-Identifier: MIT
#include "platform/shared/StreamSystem.h"

#include "platform/shared/LogFile.h"
#include "platform/shared/TerminalText.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace platform {

namespace {

bool redirected(const std::string& path, const std::string& logs) {
    if (redirectToOwnLogFile(STDERR_FILENO, path)) {
        return true;
    }
    const char* const home = std::getenv("HOME");
    const auto name = std::filesystem::path(path).filename();
    return home != nullptr
        && redirectToOwnLogFile(STDERR_FILENO, std::filesystem::path(home) / logs / name);
}

} // namespace

void StreamSystem::print(std::string_view text) {
    const std::string line = displayableLine(text) + '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

bool StreamSystem::reopenStandardError(const std::string& path, const std::string& mode) {
    const bool isReopened = mode == "a+" && redirected(path, m_logs);
    m_hasLogFile = m_hasLogFile || isReopened;
    return isReopened;
}

std::string StreamSystem::textToLog(LogText text) const {
    const std::string line = logLine(text);
    return m_hasLogFile ? line : displayableLine(line);
}

} // namespace platform
