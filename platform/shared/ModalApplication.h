// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"
#include "platform/shared/ModalWork.h"

#include <memory>
#include <optional>

namespace platform {

/// What of an application with modal alerts is no call of its platform. The end of the process
/// flushes the installed platform's network.
class ModalApplication : public Application {
public:
    explicit ModalApplication(std::shared_ptr<ModalWork> modalWork)
        : m_modalWork(std::move(modalWork)) { }

    std::unique_ptr<Semaphore> makeSemaphore(long value) final;
    [[noreturn]] void exit(int status) final;
    [[noreturn]] void abort() final;

protected:
    /// Hands over an event with this direct object, if any: at once, or, when a modal alert is up,
    /// after it; else the event's own alerts would be nested in that one. On the main thread.
    void deliver(const AppleEventHandler& handler, std::optional<AppleEventParameter> directObject);

private:
    const std::shared_ptr<ModalWork> m_modalWork;
};

} // namespace platform
