// SPDX-License-Identifier: MIT
#include "platform/linux/net/AddressRace.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <netinet/tcp.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;

using asio::ip::tcp;
using boost::system::error_code;

/// A refusal says that the host is there; a missing network may concern one family alone.
int tellingness(const error_code& error) {
    if (error == asio::error::connection_refused) {
        return 3;
    }
    const bool noNetwork = error == asio::error::network_unreachable
        || error == asio::error::address_family_not_supported
        || error == boost::system::errc::address_not_available;
    return !error ? 0 : noNetwork ? 1 : 2;
}

/// Opened by hand, so that no program that another thread starts meanwhile inherits it. What fails
/// here fails again, and is told, when the socket connects.
void openFor(const tcp::endpoint& endpoint, tcp::socket& socket) {
    const int descriptor
        = ::socket(endpoint.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (descriptor >= 0) {
        error_code error;
        socket.assign(endpoint.protocol(), descriptor, error);
        if (error) {
            close(descriptor);
        }
    }
}

class Race : public std::enable_shared_from_this<Race> {
public:
    Race(const asio::any_io_executor& executor, std::vector<tcp::endpoint> endpoints,
        RaceLimits limits)
        : m_endpoints(std::move(endpoints))
        , m_limits(limits)
        , m_pace(executor)
        , m_decision(executor) { }

    asio::awaitable<RaceResult> run() {
        m_decision.expires_after(m_limits.total);
        startNext();
        error_code ignored;
        co_await m_decision.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        if (!m_decided) {
            m_error = asio::error::timed_out;
            decide();
        }
        co_return RaceResult{m_error, std::move(m_winner)};
    }

    void abort() {
        m_error = asio::error::operation_aborted;
        decide();
    }

private:
    void startNext() {
        if (m_decided || m_next == m_endpoints.size()) {
            return;
        }
        const tcp::endpoint endpoint = m_endpoints[m_next++];
        const auto socket = std::make_shared<tcp::socket>(m_pace.get_executor());
        openFor(endpoint, *socket);
        m_attempts.push_back(socket);
        ++m_running;
        socket->async_connect(endpoint, [self = shared_from_this(), socket](error_code error) {
            self->attemptEnded(*socket, error);
        });
        m_pace.expires_after(m_limits.nextAddressDelay);
        m_pace.async_wait([self = shared_from_this()](error_code error) {
            if (!error) {
                self->startNext();
            }
        });
    }

    void attemptEnded(tcp::socket& socket, const error_code& error) {
        --m_running;
        if (m_decided) {
            return;
        }
        if (!error) {
            m_winner = std::move(socket);
            m_error = {};
            decide();
            return;
        }
        if (tellingness(error) > tellingness(m_error)) {
            m_error = error;
        }
        startNext();
        if (m_running == 0) {
            decide();
        }
    }

    void decide() {
        m_decided = true;
        m_pace.cancel();
        m_decision.cancel();
        for (const auto& attempt : m_attempts) {
            error_code ignored;
            attempt->close(ignored);
        }
        m_attempts.clear();
    }

    std::vector<tcp::endpoint> m_endpoints;
    RaceLimits m_limits;
    std::vector<std::shared_ptr<tcp::socket>> m_attempts;
    std::size_t m_next = 0;
    std::size_t m_running = 0;
    bool m_decided = false;
    error_code m_error;
    std::optional<tcp::socket> m_winner;
    asio::steady_timer m_pace;
    asio::steady_timer m_decision; // cancelled when the race is over
};

/// No delay for small frames. A peer that vanished without a word, or that takes in nothing, shows
/// when what was sent to it stays where it is for as long as a peer may be silent elsewhere.
void setOptions(tcp::socket& socket, std::chrono::milliseconds stallLimit) {
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    const auto milliseconds = static_cast<unsigned>(stallLimit.count());
    setsockopt(
        socket.native_handle(), IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds);
}

} // namespace

asio::awaitable<RaceResult> connectToFirst(
    std::vector<tcp::endpoint> endpoints, RaceLimits limits, AbortSignal& abort) {
    const auto race
        = std::make_shared<Race>(co_await asio::this_coro::executor, std::move(endpoints), limits);
    const AbortSignal::Scope scope(abort, [race] { race->abort(); });
    RaceResult result = co_await race->run();
    if (result.socket) {
        setOptions(*result.socket, limits.stall);
    }
    co_return result;
}

} // namespace platform::linux_
