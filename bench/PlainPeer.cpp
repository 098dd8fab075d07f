// SPDX-License-Identifier: MIT
// plain_peer HOST PORT TARGET CA-FILE LOG: the least that a large signing request costs. It joins
// the room, takes the Base64 text out of each command with one, decodes, encodes and sends it back,
// and writes the three lines that hold it to the file LOG. No JSON, no signature, no copy that can
// be avoided. The baseline of session_bench.
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <array>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <openssl/evp.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/uio.h>
#include <vector>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using Stream = beast::websocket::stream<beast::ssl_stream<asio::ip::tcp::socket>, false>;

void send(Stream& stream, std::string_view frame) {
    stream.write(asio::buffer(frame.data(), frame.size()));
}

/// Valid until the next message.
std::string_view receive(Stream& stream, beast::flat_buffer& buffer) {
    buffer.clear();
    stream.read(buffer);
    return {static_cast<const char*>(buffer.cdata().data()), buffer.size()};
}

std::string_view textUnder(std::string_view body, std::string_view key) {
    const std::size_t start = body.find(key) + key.size();
    return body.substr(start, body.find('"', start) - start);
}

std::string decodedAndEncoded(std::string_view text) {
    std::vector<unsigned char> bytes(text.size() / 4 * 3);
    EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
        static_cast<int>(text.size()));
    std::string again(text.size() + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(again.data()), bytes.data(),
        static_cast<int>(bytes.size()));
    again.pop_back();
    return again;
}

void log(int file, std::string_view label, std::string_view text) {
    iovec parts[] = {{const_cast<char*>(label.data()), label.size()},
        {const_cast<char*>(text.data()), text.size()}, {const_cast<char*>("\n"), 1}};
    if (writev(file, parts, 3) != static_cast<ssize_t>(label.size() + text.size() + 1)) {
        throw std::runtime_error("the log cannot be written");
    }
}

void run(char** arguments) {
    const int file = open(arguments[5], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string host = arguments[1];
    asio::io_context context;
    asio::ssl::context tls(asio::ssl::context::tls_client);
    tls.load_verify_file(arguments[4]);
    tls.set_verify_mode(asio::ssl::verify_peer);
    Stream stream(context, tls);
    asio::ip::tcp::resolver resolver(context);
    asio::connect(
        stream.next_layer().next_layer(), resolver.resolve(host, std::string(arguments[2])));
    stream.next_layer().handshake(asio::ssl::stream_base::client);
    stream.handshake(host, arguments[3]);
    stream.read_message_max(0);
    stream.auto_fragment(false);
    stream.write_buffer_bytes(64 << 10);
    stream.text(true);

    using namespace std::string_view_literals;
    send(stream, "CONNECT\naccept-version:1.2\nhost:localhost\n\n\0"sv);
    beast::flat_buffer buffer;
    receive(stream, buffer);
    send(stream, "SUBSCRIBE\ndestination:/topic/room/bench\nid:sub-0\n\n\0"sv);
    constexpr std::string_view key = "\"pdfToSign\":\"";
    std::string_view request = receive(stream, buffer);
    while (request.find(key) != std::string_view::npos) { // whatever has none ends the session
        log(file, "STOMP message received: ", request);
        log(file, "Signing PDF: ", request);
        const std::string text = decodedAndEncoded(textUnder(request, key));
        log(file, "Sending message: ", text);
        stream.write(std::array{asio::buffer("SEND\ndestination:/app/room/bench\n\n{"sv),
            asio::buffer(key), asio::buffer(text), asio::buffer("\"}\0"sv)});
        request = receive(stream, buffer);
    }
    beast::error_code ignored;
    stream.close(beast::websocket::close_code::normal, ignored);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: plain_peer HOST PORT TARGET CA-FILE LOG\n", stderr);
        return 2;
    }
    try {
        run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "plain_peer: %s\n", error.what());
        return 1;
    }
    return 0;
}
