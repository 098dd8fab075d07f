// SPDX-License-Identifier: MIT
// The network of the Linux platform.
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"
#include "platform/Trust.h"

#include <chrono>
#include <memory>
#include <string>

namespace platform::linux_ {

struct LinuxNetworkOptions {
    std::string userAgent; // of every request; none when empty
    /// How long lookup, connecting, TLS, and each wait for an answer may go without progress.
    std::chrono::milliseconds stallLimit = std::chrono::seconds(60);
    /// How long a data task may take in all, however slowly its answer drips.
    std::chrono::milliseconds requestLimit = std::chrono::seconds(60);
    /// The next address of a name is tried when the one before has not answered by then.
    std::chrono::milliseconds nextAddressDelay{250};
    /// How long a close waits for a server that does nothing any more.
    std::chrono::milliseconds closeLimit{2000};
    /// How long the memory of a large message is kept for the next one.
    std::chrono::milliseconds memoryLimit = std::chrono::seconds(60);
    /// Bytes that may wait to be sent on a WebSocket before nothing more is read from it. Far above
    /// what an honest server leaves unread.
    std::size_t unsentLimit = std::size_t{512} << 20;
};

/// Boost.Beast over Asio and OpenSSL, on one thread, with a second one for completions. Reads the
/// proxy variables of the environment when constructed. The application must outlive it.
class LinuxNetwork : public Network {
public:
    explicit LinuxNetwork(Application& application, LinuxNetworkOptions options = {});
    /// Flushes for a moment, ends both threads, and waits for a completion that runs.
    ~LinuxNetwork() override;

    std::unique_ptr<URLSessionDataTask> dataTaskWithURL(
        const std::string& url, DataTaskCompletion completion) override;
    std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) override;
    void flush(std::chrono::milliseconds limit) override;

    /// Begins to make what the first connection needs.
    void prepare();

    /// As `Trust` has them.
    static std::optional<NetworkHost> hostToConnect(const std::string& host);
    void setConnectionRule(ConnectionRule rule);

private:
    class Impl;
    const std::shared_ptr<Impl> m_impl;
};

} // namespace platform::linux_
