// SPDX-License-Identifier: MIT
#include "platform/linux/SideWork.h"

#include "platform/linux/LinuxApplication.h"

#include <atomic>
#include <exception>
#include <future>
#include <thread>

namespace platform {

void SideWork::run(const std::string& waitingFor, const std::function<void()>& work) const {
    const std::unique_ptr<Semaphore> ended = m_application.makeSemaphore(0);
    std::promise<void> promise;
    std::future<void> done = promise.get_future();
    std::exception_ptr failure;
    std::thread worker([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        promise.set_value();
        ended->signal();
    });
    std::thread teller([&] {
        const auto isDone
            = [&](auto time) { return done.wait_for(time) == std::future_status::ready; };
        if (!isDone(m_patience)) {
            m_application.runModally([&] {
                if (!isDone(std::chrono::seconds(0))) { // a dialog may have been before this
                    m_tell("Waiting for " + waitingFor + "...");
                }
            });
        }
        ended->signal();
    });
    ended->wait(); // until both have ended: the teller may wait for this very thread
    ended->wait();
    worker.join();
    teller.join();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace platform
