// SPDX-License-Identifier: MIT
#include "platform/linux/SideWork.h"

#include "platform/linux/LinuxApplication.h"

#include <atomic>
#include <exception>
#include <future>
#include <thread>

namespace platform {

void SideWork::run(const Name& waitingFor, const std::function<void()>& work) const {
    const LinuxApplication::SideWorkScope scope(m_application);
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
        const auto tellUnlessDone = [&](const std::string& before, const std::string& behind) {
            m_application.runModally([&] {
                if (!isDone(std::chrono::seconds(0))) { // a dialog may have been before this
                    m_tell(before + waitingFor() + behind);
                }
            });
        };
        if (!isDone(m_patience.first)) {
            tellUnlessDone("Waiting for ", "...");
            if (!isDone(m_patience.second)) {
                tellUnlessDone("Still waiting for ", ". " + m_wayOut);
            }
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
