// SPDX-License-Identifier: MIT
#include "devserver/server/Connection.h"

#include <array>

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

namespace devserver {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

constexpr std::string_view head = "HTTP/1.1 200 OK\r\n"
                                  "Content-Type: text/event-stream\r\n"
                                  "Cache-Control: no-store\r\n"
                                  "X-Content-Type-Options: nosniff\r\n"
                                  "Connection: close\r\n\r\n";

class EventConnection final : public Connection,
                              public std::enable_shared_from_this<EventConnection> {
public:
    EventConnection(ByteStream stream, EventAnswer answer)
        : m_stream(std::move(stream))
        , m_executor(m_stream.get_executor())
        , m_feed(std::move(answer.feed))
        , m_position(answer.position)
        , m_text(head) { }

    void start() {
        m_stream.waitForever();
        m_watcher = m_feed->watch([weak = weak_from_this(), executor = m_executor] {
            asio::post(executor, [weak] {
                if (const auto self = weak.lock()) {
                    self->writeNext();
                }
            });
        });
        write();
        awaitEnd();
    }

    void abort() override {
        m_feed->unwatch(m_watcher);
        m_hasEnded = true;
        m_stream.close();
    }

private:
    void writeNext() {
        if (m_isWriting || m_hasEnded) {
            return;
        }
        m_text = m_feed->textFrom(m_position);
        if (!m_text.empty()) {
            write();
        } else if (m_feed->hasEnded()) {
            abort();
        }
    }

    void write() {
        m_isWriting = true;
        asio::async_write(m_stream, asio::buffer(m_text),
            [self = shared_from_this()](error_code error, std::size_t) {
                self->m_isWriting = false;
                if (!error) {
                    self->writeNext();
                }
            });
    }

    /// The reader says no more, and so its next word is its leaving.
    void awaitEnd() {
        m_stream.async_read_some(
            asio::buffer(m_chunk), [self = shared_from_this()](error_code error, std::size_t) {
                if (error) {
                    self->abort();
                } else {
                    self->awaitEnd();
                }
            });
    }

    ByteStream m_stream;
    ByteStream::executor_type m_executor;
    std::shared_ptr<EventFeed> m_feed;
    std::size_t m_position;
    std::string m_text; // being written
    int m_watcher = 0;
    bool m_isWriting = false;
    bool m_hasEnded = false;
    std::array<char, 512> m_chunk{};
};

} // namespace

void serveEvents(ByteStream stream, EventAnswer answer, ConnectionList& connections) {
    const auto connection = std::make_shared<EventConnection>(std::move(stream), std::move(answer));
    connections.add(connection);
    connection->start();
}

} // namespace devserver
