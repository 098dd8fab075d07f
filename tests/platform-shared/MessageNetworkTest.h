// SPDX-License-Identifier: MIT
// WebSockets over a platform whose connections do what a test says.
#pragma once

#include "platform/shared/MessageNetwork.h"

#include "tests/platform-shared/ManualQueue.h"
#include "tests/support/TestApplication.h"

#include <algorithm>

/// What a connection of the platform has been asked for.
struct TaskRecord {
    std::string url;
    std::vector<std::string> subprotocols;
    std::shared_ptr<platform::MessageTaskDelegate> delegate; // until it is invalidated
    std::vector<std::string> calls; // "resume", "send TEXT" ("send" when long), "receive", ...
    std::deque<platform::MessageTask::Sent> unsent; // until it is invalidated, too
    platform::MessageTask::Received receiving; // null when nothing is asked for
    std::int64_t bytes = 1;

    int count(const std::string& call) const {
        return static_cast<int>(std::count(calls.begin(), calls.end(), call));
    }
};

class RecordedTask : public platform::MessageTask {
public:
    explicit RecordedTask(std::shared_ptr<TaskRecord> record)
        : m_record(std::move(record)) { }

    void resume() override { m_record->calls.push_back("resume"); }
    void send(std::string text, Sent sent) override {
        m_record->calls.push_back(text.size() < 100 ? "send " + text : "send");
        m_record->unsent.push_back(std::move(sent));
    }
    void receive(Received received) override {
        EXPECT_FALSE(m_record->receiving);
        m_record->calls.push_back("receive");
        m_record->receiving = std::move(received);
    }
    std::int64_t countOfBytesReceived() override { return m_record->bytes; }
    void cancel() override { m_record->calls.push_back("cancel"); }
    void invalidate() override {
        m_record->calls.push_back("invalidate");
        m_record->delegate.reset();
        m_record->unsent.clear();
        m_record->receiving = nullptr;
    }

private:
    const std::shared_ptr<TaskRecord> m_record;
};

class RecordedNetwork : public platform::MessageNetwork {
public:
    using MessageNetwork::MessageNetwork;

    std::unique_ptr<platform::URLSessionDataTask> dataTaskWithURL(
        const std::string&, platform::DataTaskCompletion) override {
        std::abort();
    }
    std::unique_ptr<platform::MessageTask> makeMessageTask(const std::string& url,
        const std::vector<std::string>& subprotocols,
        std::shared_ptr<platform::MessageTaskDelegate> delegate) override {
        record = records.emplace_back(std::make_shared<TaskRecord>());
        record->url = url;
        record->subprotocols = subprotocols;
        record->delegate = std::move(delegate);
        return std::make_unique<RecordedTask>(record);
    }

    std::vector<std::shared_ptr<TaskRecord>> records;
    std::shared_ptr<TaskRecord> record; // of the last one
};

/// One WebSocket. The test's own thread is the main thread, and runs the queue.
class MessageNetworkTest : public testing::Test {
protected:
    /// Ends what the test has left open, for tasks and connections keep each other alive.
    void TearDown() override {
        m_queue.run();
        for (const auto& record : m_network.records) {
            if (record->delegate) {
                record->delegate->taskDidEnd(std::nullopt);
            }
        }
        runAll();
    }
    void open() {
        m_socket = m_network.openWebSocket({"host", 443, "/room", true, {}}, m_delegate);
        m_queue.run();
    }
    void openAndAccept() {
        open();
        task().delegate->taskDidOpen("v12.stomp");
        runAll();
        ASSERT_TRUE(m_delegate->opened);
        task().calls.clear();
    }
    /// Queue and main thread, until both have nothing to do.
    void runAll() {
        m_queue.run();
        while (m_application.pending() > 0) {
            m_application.runPending();
            m_queue.run();
        }
    }
    void arrive(const std::string& message) {
        ASSERT_TRUE(task().receiving);
        std::exchange(task().receiving, nullptr)(message, std::nullopt);
        m_queue.run();
    }
    void didSend(std::optional<std::string> error = {}) {
        ASSERT_FALSE(task().unsent.empty());
        const auto sent = task().unsent.front();
        task().unsent.pop_front();
        sent(std::move(error));
        m_queue.run();
    }
    void send(const std::string& text) {
        m_socket->send({text});
        m_queue.run();
    }
    void setTimers(platform::WebSocketTimers timers) {
        timers.beat = "\n";
        m_socket->setTimers(std::move(timers));
        m_queue.run();
    }
    void advance(std::chrono::milliseconds duration) {
        m_queue.advance(duration);
        runAll();
    }
    TaskRecord& task() { return *m_network.record; }
    bool hasEnded() { return task().count("invalidate") > 0; }
    using Texts = std::vector<std::string>;

    TestApplication m_application;
    ManualQueue m_queue;
    RecordedNetwork m_network{m_application, m_queue};
    const std::shared_ptr<RecordingDelegate> m_delegate = std::make_shared<RecordingDelegate>();
    std::shared_ptr<platform::WebSocket> m_socket;
};
