// SPDX-License-Identifier: MIT
// A platform in memory: what the program asks of it is recorded in one trace, what it answers is
// scripted. Its main thread runs only when a test says so; the end of the process is an exception.
#pragma once

#include "platform/Platform.h"
#include "tests/support/MemoryNetwork.h"
#include "tests/support/MemorySystem.h"
#include "tests/support/ScriptedKeychain.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// Thrown in place of the end of the process.
struct ProcessExit {
    int status;
};
struct ProcessAbort { };

class MemoryApplication : public platform::Application {
public:
    explicit MemoryApplication(Trace& trace)
        : m_trace(trace) { }

    int run(platform::NSApplicationDelegate& delegate) override;
    void setEventHandler(platform::AppleEventHandler handler, platform::FourCharCode eventClass,
        platform::FourCharCode eventId) override;
    void performOnMainThread(std::function<void()> work) override;
    std::unique_ptr<platform::Semaphore> makeSemaphore(long value) override;
    [[noreturn]] void exit(int status) override;
    [[noreturn]] void abort() override;

    /// Runs what was handed to the main thread, until nothing is left.
    void runPending();
    /// Calls the handler of URL events.
    void sendEvent(const platform::AppleEventDescriptor* event);
    void openURL(const std::string& url);

    /// Completions of other queues: run when somebody waits on a semaphore.
    std::deque<std::function<void()>> otherQueues;
    std::map<std::pair<platform::FourCharCode, platform::FourCharCode>, platform::AppleEventHandler>
        handlers;

private:
    Trace& m_trace;
    std::deque<std::function<void()>> m_work;
};

class MemoryUserInterface : public platform::UserInterface {
public:
    explicit MemoryUserInterface(Trace& trace)
        : m_trace(trace)
        , m_storage(*this)
        , m_view(*this) { }

    platform::NSTextView* statusTextView() override { return &m_view; }
    int runModal(const platform::NSAlert& alert) override;
    void deliverNotification(const platform::NSUserNotification& notification) override;
    bool openURL(const std::string& url) override;
    std::optional<std::string> askForPassword(const std::string& token, bool again) override;

    bool hasTextStorage = true;
    std::string statusText;
    std::vector<platform::NSAlert> alerts;
    std::deque<int> responses; // to the alerts to come; the first button when empty
    std::function<void()> whileModal; // runs while an alert is up
    std::vector<platform::NSUserNotification> notifications;
    std::vector<std::string> openedUrls;
    bool canOpenUrls = true;

private:
    class Storage : public platform::NSTextStorage {
    public:
        explicit Storage(MemoryUserInterface& owner)
            : m_owner(owner) { }
        void append(std::string_view text) override;

    private:
        MemoryUserInterface& m_owner;
    };
    class View : public platform::NSTextView {
    public:
        explicit View(MemoryUserInterface& owner)
            : m_owner(owner) { }
        platform::NSTextStorage* textStorage() override {
            return m_owner.hasTextStorage ? &m_owner.m_storage : nullptr;
        }

    private:
        MemoryUserInterface& m_owner;
    };

    Trace& m_trace;
    Storage m_storage;
    View m_view;
};

class MemoryPlatform : public platform::Platform {
public:
    MemoryPlatform();

    MemoryApplication& application() override { return m_application; }
    MemoryUserInterface& userInterface() override { return m_userInterface; }
    MemorySystem& system() override { return m_system; }
    ScriptedKeychain& security() override { return m_security; }
    MemoryNetwork& network() override { return m_network; }

    /// Everything observable in the order in which it happened: "log: …", "status: …",
    /// "alert: …", "dismissed", "notification: …", "print: …", "open: …", "sent: …", "exit: …",
    /// "abort".
    Trace trace;

    /// The log lines alone.
    std::vector<std::string> log() const { return trace.withPrefix("log: "); }

private:
    MemoryApplication m_application;
    MemoryUserInterface m_userInterface;
    MemorySystem m_system;
    ScriptedKeychain m_security;
    MemoryNetwork m_network;
    platform::PlatformScope m_scope;
};
