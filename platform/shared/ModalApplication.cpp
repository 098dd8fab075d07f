// SPDX-License-Identifier: MIT
#include "platform/shared/ModalApplication.h"

#include "platform/shared/ProcessEnd.h"

#include <utility>

namespace platform {

std::unique_ptr<Semaphore> ModalApplication::makeSemaphore(long value) {
    return m_modalWork->makeSemaphore(value);
}

void ModalApplication::exit(int status) {
    flushAndExit(status);
}

void ModalApplication::abort() {
    flushAndAbort();
}

void ModalApplication::deliver(
    const AppleEventHandler& handler, std::optional<AppleEventParameter> directObject) {
    AppleEventDescriptor event; // of the one parameter that the program reads
    if (directObject) {
        event.parameters[keyDirectObject] = *std::move(directObject);
    }
    if (m_modalWork->isRunning()) {
        performOnMainThread([handler, event] { handler(&event, nullptr); });
    } else {
        handler(&event, nullptr);
    }
}

} // namespace platform
