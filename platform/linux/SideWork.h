// SPDX-License-Identifier: MIT
// Work that may take its time, such as that of a smart card.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace platform {

class LinuxApplication;

class SideWork {
public:
    using Tell = std::function<void(const std::string& line)>;
    using Name = std::function<std::string()>;

    /// How long nothing is said, and then until the user is told what to do.
    struct Patience {
        std::chrono::milliseconds first = std::chrono::seconds(2);
        std::chrono::milliseconds second = std::chrono::seconds(15);
    };

    /// `tell` shows a line to the user; it is called on the main thread. `wayOut` is what its user
    /// can do about work that does not end.
    SideWork(LinuxApplication& application, Tell tell, std::string wayOut, Patience patience);
    ~SideWork();

    /// Runs `work` on another thread and returns when it is done. Meanwhile the window is
    /// painted and can be closed, and the work may ask the user; nothing of a session is delivered.
    /// `waitingFor` tells, on any thread, what it is that takes its time.
    void run(const Name& waitingFor, const std::function<void()>& work) const;

private:
    class Thread;
    class Alarm;

    LinuxApplication& m_application;
    Tell m_tell;
    std::string m_wayOut;
    Patience m_patience;
    // Kept, for each listing of a card is such work.
    mutable std::unique_ptr<Thread> m_worker;
    mutable std::unique_ptr<Alarm> m_alarm;
};

} // namespace platform
