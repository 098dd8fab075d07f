// SPDX-License-Identifier: MIT
// Work that may take its time, such as that of a smart card.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace platform {

class LinuxApplication;

class SideWork {
public:
    using Tell = std::function<void(const std::string& line)>;

    /// `tell` shows a line to the user; it is called on the main thread. `patience` is how long
    /// nothing is said.
    SideWork(LinuxApplication& application, Tell tell,
        std::chrono::milliseconds patience = std::chrono::seconds(2))
        : m_application(application)
        , m_tell(std::move(tell))
        , m_patience(patience) { }

    /// Runs `work` on a thread of its own and returns when it is done. Meanwhile the window is
    /// painted, and the work may ask the user; nothing of a session is delivered.
    void run(const std::string& waitingFor, const std::function<void()>& work) const;

private:
    LinuxApplication& m_application;
    Tell m_tell;
    std::chrono::milliseconds m_patience;
};

} // namespace platform
