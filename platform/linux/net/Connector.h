// SPDX-License-Identifier: MIT
// Makes every connection: name lookup, TCP, proxy, TLS.
#pragma once

#include "platform/Trust.h"
#include "platform/linux/net/ClientStream.h"
#include "platform/linux/net/Expected.h"
#include "platform/linux/net/IoThread.h"
#include "platform/linux/net/NetworkErrorText.h"
#include "platform/linux/net/PeerMemory.h"
#include "platform/linux/net/ProxySettings.h"
#include "platform/linux/net/TlsContext.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace platform::linux_ {

struct Destination {
    HostName host;
    std::uint16_t port = 443;
    bool secure = true;
};

/// Used on the thread of the sockets.
class Connector {
public:
    struct Settings {
        std::chrono::milliseconds stallLimit; // for each phase of a connection
        std::chrono::milliseconds nextAddressDelay; // between attempts at the addresses of a name
        ProxyEnvironment proxies;
        std::string userAgent; // or empty
    };

    Connector(std::shared_ptr<IoGate> gate, Settings settings)
        : m_gate(std::move(gate))
        , m_settings(std::move(settings)) { }
    virtual ~Connector() = default;

    /// A stream on which requests may be sent. For a secure destination: TLS 1.2 or later, chain
    /// trusted by the system, certificate for this host (RFC 9525); or the session of a connection
    /// that had both within the last minute.
    virtual boost::asio::awaitable<Expected<ClientStream>> connect(
        Destination destination, AbortSignal& abort);

    /// Begins to make what all connections have in common. From any thread.
    void prepare() { m_tlsContext.begin(); }
    /// Waits for that.
    void finishPreparing() { m_tlsContext.finish(); }

    /// From any thread; counts for the connections that are begun afterwards.
    void setRule(ConnectionRule rule);

    const Settings& settings() const { return m_settings; }
    PeerMemory& memory() { return *m_memory; }
    Peer peerFor(const Destination& destination) const;

private:
    boost::asio::awaitable<Expected<TcpStream>> connectTransport(
        Destination destination, std::optional<Proxy> proxy, AbortSignal& abort);
    boost::asio::awaitable<Expected<TcpStream>> connectTcp(
        HostName host, Peer peer, AbortSignal& abort);
    boost::asio::awaitable<Expected<TcpStream>> connectByProxy(
        Proxy proxy, Destination destination, AbortSignal& abort);
    boost::asio::awaitable<Expected<ClientStream>> startTls(
        TcpStream tcp, Destination destination, AbortSignal& abort, bool& isSessionRefused);
    std::optional<Failure> refusal(const Destination& destination);

    std::shared_ptr<IoGate> m_gate;
    Settings m_settings;
    SharedTlsContext m_tlsContext;
    const std::shared_ptr<PeerMemory> m_memory = std::make_shared<PeerMemory>();
    std::mutex m_ruleMutex;
    ConnectionRule m_rule;
};

} // namespace platform::linux_
