// SPDX-License-Identifier: MIT
#include "platform/linux/net/NameLookup.h"

#include "foundation/Handle.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <netdb.h>
#include <optional>
#include <system_error>
#include <thread>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;

using asio::ip::tcp;
using boost::system::error_code;

error_code lookupError(int status) {
    switch (status) {
    case EAI_NONAME:
    case EAI_SERVICE:
        return asio::error::host_not_found;
    case EAI_NODATA:
        return asio::error::no_data;
    case EAI_AGAIN:
        return asio::error::host_not_found_try_again;
    case EAI_MEMORY:
        return asio::error::no_memory;
    case EAI_SYSTEM:
        return {errno, asio::error::get_system_category()};
    default:
        return asio::error::no_recovery;
    }
}

/// The first endpoint's family first, then the families in turn, each in the system's order.
std::vector<tcp::endpoint> takingTurns(const std::vector<tcp::endpoint>& endpoints) {
    std::vector<tcp::endpoint> first;
    std::vector<tcp::endpoint> second;
    for (const tcp::endpoint& endpoint : endpoints) {
        (endpoint.protocol() == endpoints.front().protocol() ? first : second).push_back(endpoint);
    }
    std::vector<tcp::endpoint> out;
    for (std::size_t i = 0; i < std::max(first.size(), second.size()); ++i) {
        if (i < first.size()) {
            out.push_back(first[i]);
        }
        if (i < second.size()) {
            out.push_back(second[i]);
        }
    }
    return out;
}

LookupResult systemLookup(const std::string& name, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int status = getaddrinfo(name.c_str(), std::to_string(port).c_str(), &hints, &list);
    const Handle<addrinfo, freeaddrinfo> owner(status == 0 ? list : nullptr);
    if (status != 0) {
        return {lookupError(status), {}};
    }
    std::vector<tcp::endpoint> endpoints;
    for (const addrinfo* entry = owner.get(); entry != nullptr; entry = entry->ai_next) {
        tcp::endpoint endpoint;
        if (entry->ai_addrlen <= endpoint.capacity()
            && (entry->ai_family == AF_INET || entry->ai_family == AF_INET6)) {
            endpoint.resize(entry->ai_addrlen);
            std::memcpy(endpoint.data(), entry->ai_addr, entry->ai_addrlen);
            endpoints.push_back(endpoint);
        }
    }
    if (endpoints.empty()) {
        return {asio::error::no_data, {}};
    }
    return {{}, takingTurns(endpoints)};
}

/// Waits on the thread of the sockets for the answer of the thread that looks up.
struct Wait {
    explicit Wait(const asio::any_io_executor& executor)
        : timer(executor) { }

    asio::steady_timer timer; // cancelled when the answer is there
    std::optional<LookupResult> result;
};

} // namespace

asio::awaitable<LookupResult> lookUp(std::shared_ptr<IoGate> gate, HostName host,
    std::uint16_t port, std::chrono::milliseconds limit, AbortSignal& abort) {
    const auto wait = std::make_shared<Wait>(co_await asio::this_coro::executor);
    wait->timer.expires_after(limit);
    const AbortSignal::Scope scope(abort, [wait] { wait->timer.cancel(); });
    try {
        std::thread([gate, name = host.ascii, port, weak = std::weak_ptr(wait)] {
            LookupResult result = systemLookup(name, port);
            gate->post([weak, result] {
                if (const auto waiting = weak.lock()) {
                    waiting->result = result;
                    waiting->timer.cancel();
                }
            });
        }).detach();
    } catch (const std::system_error&) {
        co_return LookupResult{asio::error::no_memory, {}};
    }
    error_code ignored;
    co_await wait->timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    if (wait->result) {
        co_return *std::move(wait->result);
    }
    co_return LookupResult{
        abort.isRaised() ? error_code(asio::error::operation_aborted) : asio::error::timed_out, {}};
}

} // namespace platform::linux_
