// SPDX-License-Identifier: MIT
#include "tests/support/MemoryPlatform.h"

#include <stdexcept>

using namespace platform;

namespace {

class MemorySemaphore : public Semaphore {
public:
    MemorySemaphore(MemoryApplication& application, long value)
        : m_application(application)
        , m_value(value) { }

    void wait() override {
        while (m_value <= 0) {
            if (m_application.otherQueues.empty()) {
                throw std::logic_error("a semaphore is waited for that nobody will signal");
            }
            const auto work = std::move(m_application.otherQueues.front());
            m_application.otherQueues.pop_front();
            work();
        }
        --m_value;
    }
    void signal() override { ++m_value; }

private:
    MemoryApplication& m_application;
    long m_value;
};

} // namespace

int MemoryApplication::run(NSApplicationDelegate& delegate) {
    delegate.loadMainInterface();
    delegate.applicationWillFinishLaunching();
    runPending();
    delegate.applicationWillTerminate();
    return 0;
}

void MemoryApplication::setEventHandler(
    AppleEventHandler handler, FourCharCode eventClass, FourCharCode eventId) {
    m_trace.add("event handler set");
    handlers[{eventClass, eventId}] = std::move(handler);
}

void MemoryApplication::performOnMainThread(std::function<void()> work) {
    m_work.push_back(std::move(work));
}

std::unique_ptr<Semaphore> MemoryApplication::makeSemaphore(long value) {
    return std::make_unique<MemorySemaphore>(*this, value);
}

void MemoryApplication::exit(int status) {
    m_trace.add("exit: " + std::to_string(status));
    throw ProcessExit{status};
}

void MemoryApplication::abort() {
    m_trace.add("abort");
    throw ProcessAbort{};
}

void MemoryApplication::runPending() {
    while (!m_work.empty()) {
        const auto work = std::move(m_work.front());
        m_work.pop_front();
        work();
    }
}

void MemoryApplication::sendEvent(const AppleEventDescriptor* event) {
    handlers.at({kInternetEventClass, kAEGetURL})(event, nullptr);
}

void MemoryApplication::openURL(const std::string& url) {
    const AppleEventDescriptor event{{{keyDirectObject, {url}}}};
    sendEvent(&event);
}

void MemoryUserInterface::Storage::append(std::string_view text) {
    m_owner.m_trace.add("status: " + std::string(text));
    m_owner.statusText += text;
}

int MemoryUserInterface::runModal(const NSAlert& alert) {
    m_trace.add("alert: " + alert.messageText + " | " + alert.informativeText);
    alerts.push_back(alert);
    if (whileModal) {
        whileModal();
    }
    int response = NSAlertFirstButtonReturn;
    if (!responses.empty()) {
        response = responses.front();
        responses.pop_front();
    }
    m_trace.add("dismissed");
    return response;
}

void MemoryUserInterface::deliverNotification(const NSUserNotification& notification) {
    m_trace.add("notification: " + notification.title.value_or("nil") + " | "
        + notification.informativeText.value_or("nil"));
    notifications.push_back(notification);
}

bool MemoryUserInterface::openURL(const std::string& url) {
    m_trace.add("open: " + url);
    openedUrls.push_back(url);
    return canOpenUrls;
}

std::optional<std::string> MemoryUserInterface::askForPassword(const std::string&, bool) {
    return std::nullopt;
}

MemoryPlatform::MemoryPlatform()
    : m_application(trace)
    , m_userInterface(trace)
    , m_system(trace)
    , m_security(trace)
    , m_network(trace, m_application.otherQueues,
          [this](
              std::function<void()> work) { m_application.performOnMainThread(std::move(work)); })
    , m_scope(*this) {
}
