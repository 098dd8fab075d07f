// SPDX-License-Identifier: MIT
// plain_peer HOST PORT TARGET CA-FILE: the least that a large signing request costs. It joins the
// room, takes the Base64 text out of the one command that it gets, decodes, encodes and sends it
// back. No JSON, no log, no signature. The baseline of session_bench.
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <cstdio>
#include <exception>
#include <openssl/evp.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using Stream = beast::websocket::stream<beast::ssl_stream<asio::ip::tcp::socket>>;

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

void run(char** arguments) {
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
    const std::string_view request = receive(stream, buffer);
    std::string answer = "SEND\ndestination:/app/room/bench\n\n{\"pdfToSign\":\"";
    answer += decodedAndEncoded(textUnder(request, "\"pdfToSign\":\""));
    answer += "\"}\0"sv;
    send(stream, answer);
    receive(stream, buffer); // whatever comes next ends the session
    beast::error_code ignored;
    stream.close(beast::websocket::close_code::normal, ignored);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: plain_peer HOST PORT TARGET CA-FILE\n", stderr);
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
