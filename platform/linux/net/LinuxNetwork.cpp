// SPDX-License-Identifier: MIT
#include "platform/linux/net/LinuxNetwork.h"

#include "platform/linux/net/CompletionQueue.h"
#include "platform/linux/net/Connector.h"
#include "platform/linux/net/HostComparison.h"
#include "platform/linux/net/HttpsGet.h"
#include "platform/linux/net/IoThread.h"
#include "platform/linux/net/SocketChannel.h"
#include "platform/linux/net/WebSocketSession.h"

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <set>

namespace platform::linux_ {

namespace {

constexpr std::chrono::milliseconds destructionFlushLimit{250};

class DataTask : public URLSessionDataTask {
public:
    explicit DataTask(std::function<void()> begin)
        : m_begin(std::move(begin)) { }

    void resume() override {
        if (const auto begin = std::exchange(m_begin, nullptr)) {
            begin();
        }
    }

private:
    std::function<void()> m_begin;
};

} // namespace

class LinuxNetwork::Impl {
public:
    Impl(Application& application, LinuxNetworkOptions options)
        : m_application(application)
        , m_options(std::move(options))
        , m_connector(m_gate,
              {m_options.stallLimit, m_options.nextAddressDelay, ProxyEnvironment::ofProcess(),
                  m_options.userAgent})
        , m_io(m_gate) { }
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void get(const std::string& url, DataTaskCompletion completion);
    std::shared_ptr<WebSocket> open(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate);
    void prepare() { m_connector.prepare(); }
    void setRule(ConnectionRule rule) { m_connector.setRule(std::move(rule)); }
    void flush(std::chrono::milliseconds limit);

private:
    enum class State { working, flushing, flushed };

    void post(std::function<void()> work);
    void finishSessions();
    void sessionEnded(WebSocketSession* session);
    void tellIfFinished();

    Application& m_application;
    const LinuxNetworkOptions m_options;
    const std::shared_ptr<std::atomic<bool>> m_silenced
        = std::make_shared<std::atomic<bool>>(false);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    State m_state = State::working;
    bool m_finished = false; // no session is left to be waited for

    CompletionQueue m_completions;
    const std::shared_ptr<IoGate> m_gate = std::make_shared<IoGate>();
    Connector m_connector;
    IoThread m_io;

    // Used on the network's thread.
    bool m_finishing = false;
    std::set<std::shared_ptr<WebSocketSession>> m_sessions;
};

LinuxNetwork::Impl::~Impl() {
    flush(destructionFlushLimit);
    m_io.stop();
    m_io.join(); // before the sessions go, which belong to its thread
}

void LinuxNetwork::Impl::post(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    if (m_state == State::working) {
        m_io.start();
        m_gate->post(std::move(work));
    }
}

void LinuxNetwork::Impl::get(const std::string& url, DataTaskCompletion completion) {
    post([this, url, completion = std::move(completion)] {
        const auto done
            = [this, completion](const std::exception_ptr& exception, const HttpsAnswer& answer) {
                  HttpsAnswer told = answer;
                  if (exception) {
                      told = {std::nullopt, std::nullopt,
                          TransportError{"this computer has no resources left for the request"}};
                  }
                  m_completions.push([completion, told] {
                      if (completion) {
                          completion(told.data, told.response, told.error);
                      }
                  });
              };
        boost::asio::co_spawn(
            m_io.context(), httpsGet(m_connector, url, m_options.requestLimit), done);
        boost::asio::post(m_io.context(), [this] { m_completions.begin(); }); // while it waits
    });
}

std::shared_ptr<WebSocket> LinuxNetwork::Impl::open(
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) {
    const auto channel = std::make_shared<SocketChannel>(
        m_application, std::move(delegate), m_gate, m_silenced, m_options.unsentLimit);
    post([this, channel, request] {
        const auto session = std::make_shared<WebSocketSession>(m_connector, channel, request,
            WebSocketSession::Limits{m_options.closeLimit, m_options.memoryLimit},
            m_io.context().get_executor());
        m_sessions.insert(session);
        session->start([this](WebSocketSession* ended) { sessionEnded(ended); });
    });
    return makeWebSocket(channel);
}

void LinuxNetwork::Impl::flush(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock(m_mutex);
    if (m_state != State::working) {
        // Another thread that ends the process must not do so before the first one's flush.
        m_changed.wait_until(lock, deadline, [this] { return m_state == State::flushed; });
        return;
    }
    m_state = State::flushing;
    *m_silenced = true;
    m_completions.shut();
    if (m_io.isStarted()) {
        m_gate->post([this] { finishSessions(); });
        m_changed.wait_until(lock, deadline, [this] { return m_finished; });
    }
    m_io.stop();
    // Threads that outlive the flush would run into the destruction of what they use.
    lock.unlock();
    m_io.join();
    m_connector.finishPreparing();
    m_completions.joinUnlessBusy();
    lock.lock();
    m_state = State::flushed;
    m_changed.notify_all();
}

void LinuxNetwork::Impl::finishSessions() {
    m_finishing = true;
    const auto sessions = m_sessions; // a session may end meanwhile
    for (const auto& session : sessions) {
        session->finish();
    }
    tellIfFinished();
}

void LinuxNetwork::Impl::sessionEnded(WebSocketSession* session) {
    std::erase_if(m_sessions, [session](const auto& other) { return other.get() == session; });
    tellIfFinished();
}

void LinuxNetwork::Impl::tellIfFinished() {
    if (m_finishing && m_sessions.empty()) {
        const std::lock_guard lock(m_mutex);
        m_finished = true;
        m_changed.notify_all();
    }
}

LinuxNetwork::LinuxNetwork(Application& application, LinuxNetworkOptions options)
    : m_impl(std::make_shared<Impl>(application, std::move(options))) {
}

LinuxNetwork::~LinuxNetwork() = default;

std::unique_ptr<URLSessionDataTask> LinuxNetwork::dataTaskWithURL(
    const std::string& url, DataTaskCompletion completion) {
    // A task may be held longer than the network.
    return std::make_unique<DataTask>(
        [weak = std::weak_ptr(m_impl), url, completion = std::move(completion)] {
            if (const auto impl = weak.lock()) {
                impl->get(url, completion);
            }
        });
}

std::shared_ptr<WebSocket> LinuxNetwork::openWebSocket(
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) {
    return m_impl->open(request, std::move(delegate));
}

void LinuxNetwork::prepare() {
    m_impl->prepare();
}

std::optional<NetworkHost> LinuxNetwork::hostToConnect(const std::string& host) {
    const auto name = parseHostName(host);
    return name ? std::optional(networkHost(*name)) : std::nullopt;
}

void LinuxNetwork::setConnectionRule(ConnectionRule rule) {
    m_impl->setRule(std::move(rule));
}

void LinuxNetwork::flush(std::chrono::milliseconds limit) {
    m_impl->flush(limit);
}

} // namespace platform::linux_
