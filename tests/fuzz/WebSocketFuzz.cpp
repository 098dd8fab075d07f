// SPDX-License-Identifier: MIT
// Beast's WebSocket over our stream, with a hostile server: the handshake and every read come to an
// end, and what is read as text is UTF-8. Input: options, then what the server sends, after a
// correct handshake or in place of one.
#include "foundation/Base64.h"
#include "foundation/Utf8.h"
#include "platform/linux/net/ClientStream.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/ReferenceDigests.h"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/websocket/stream.hpp>

using fuzz::require;
using namespace platform::linux_;

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

/// A server that ignores what it gets, but for the key that a handshake must answer.
class ScriptedLayer : public ByteLayer {
public:
    ScriptedLayer(asio::io_context& context, std::string_view input)
        : m_context(context) {
        fuzz::Input options(input);
        m_shakesHands = options.takeByte() % 4 != 0;
        m_pieceLength = options.takeByte() + std::size_t{1};
        m_toSend = options.takeRest();
    }

    asio::any_io_executor executor() override { return m_context.get_executor(); }

    void readSome(asio::mutable_buffer buffer, Done done) override {
        if (std::exchange(m_shakesHands, false)) {
            m_toSend.insert(0, handshakeAnswer());
        }
        const std::size_t length = asio::buffer_copy(buffer,
            asio::buffer(m_toSend.data() + m_sent, m_toSend.size() - m_sent), m_pieceLength);
        m_sent += length;
        const ErrorCode error = m_closed ? ErrorCode(asio::error::operation_aborted)
            : length == 0                ? ErrorCode(asio::error::eof)
                                         : ErrorCode();
        asio::post(m_context, [done = std::move(done), error, length] { done(error, length); });
    }

    void writeSome(asio::const_buffer buffer, Done done) override {
        if (m_received.size() < requestSize) {
            m_received.append(static_cast<const char*>(buffer.data()), buffer.size());
        }
        const ErrorCode error = m_closed ? ErrorCode(asio::error::operation_aborted) : ErrorCode();
        asio::post(m_context,
            [done = std::move(done), error, length = buffer.size()] { done(error, length); });
    }

    void shutDown(std::function<void()> done) override { asio::post(m_context, std::move(done)); }
    void close() override { m_closed = true; }
    void expireAfter(std::chrono::milliseconds) override { }
    void expireNever() override { }
    int unacknowledgedBytes() override { return 0; }

private:
    static constexpr std::size_t requestSize = 4096; // more than the handshake's request takes

    /// RFC 6455, section 4.2.2.
    std::string handshakeAnswer() const {
        constexpr std::string_view name = "Sec-WebSocket-Key: ";
        constexpr std::size_t keyLength = 24;
        const std::size_t place = m_received.find(name);
        require(place != std::string::npos, "a handshake has a key");
        const std::string key = m_received.substr(place + name.size(), keyLength);
        const std::string accept
            = base64Encoded(referenceSha1(bytesOf(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11")));
        return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Accept: "
            + accept + "\r\n\r\n";
    }

    asio::io_context& m_context;
    bool m_shakesHands = false;
    std::size_t m_pieceLength = 0;
    std::string m_toSend;
    std::size_t m_sent = 0;
    std::string m_received;
    bool m_closed = false;
};

/// UTF-8, but for a last character that may be cut off: Beast does not look at it again when the
/// last fragment of a message is empty. Whoever reads messages checks them.
bool isText(std::string_view message) {
    return utf8PrefixLength(message) + 4 > message.size();
}

class Client {
public:
    Client(asio::io_context& context, std::string_view input)
        : m_stream(std::make_unique<ScriptedLayer>(context, input)) {
        m_stream.set_option(websocket::stream_base::timeout{
            websocket::stream_base::none(), websocket::stream_base::none(), false});
        m_stream.read_message_max(0);
        m_stream.next_layer().expectUpgrade();
    }

    void start() {
        m_stream.async_handshake(m_response, "h", "/room/r", [this](const auto& error) {
            m_hasEnded = bool(error);
            if (!error) {
                readSome();
            }
        });
    }

    bool hasEnded() const { return m_hasEnded; }

private:
    void readSome() {
        m_stream.async_read_some(
            asio::buffer(m_buffer), [this](const auto& error, std::size_t length) {
                m_message.append(m_buffer.data(), length);
                if (error) {
                    m_hasEnded = true;
                    return;
                }
                if (m_stream.is_message_done()) {
                    require(!m_stream.got_text() || isText(m_message), "text is UTF-8");
                    m_message.clear();
                }
                readSome();
            });
    }

    websocket::stream<ClientStream, false> m_stream;
    websocket::response_type m_response;
    std::array<char, 512> m_buffer{};
    std::string m_message;
    bool m_hasEnded = false;
};

} // namespace

void fuzz::target(std::string_view input) {
    asio::io_context context;
    Client client(context, input);
    client.start();
    context.run();
    require(client.hasEnded(), "every connection ends");
}
