// SPDX-License-Identifier: MIT
// duty_peer PORT ROOM CA-FILE LOG: the least work that answers a server of this machine rightly and
// does every duty of an agent, each as cheaply as can be: all lines of the log in full, a document
// in three of them; the database of keys in HOME walked anew for each listing and signature, and
// its key; a connection of its own for the update check. It finds the values of a request where
// duty_bench puts them, knows no other request, and ends at the first surprise.
#include "bench/duty/Channel.h"
#include "bench/duty/Identities.h"
#include "foundation/Base64.h"
#include "foundation/ByteBlocks.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/uio.h>
#include <unistd.h>

using namespace std::string_view_literals;

namespace {

using Parts = Channel::Parts;

class Log {
public:
    explicit Log(const char* path)
        : m_file(open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) { }

    void line(const Parts& parts) const {
        const std::string begin = prefix();
        std::vector<iovec> all{iovecOf(begin)};
        std::size_t size = begin.size() + 1;
        for (const std::string_view part : parts) {
            all.push_back(iovecOf(part));
            size += part.size();
        }
        all.push_back(iovecOf("\n"));
        if (writev(m_file, all.data(), static_cast<int>(all.size()))
            != static_cast<ssize_t>(size)) {
            throw std::runtime_error("the log cannot be written");
        }
    }

    /// A line that the user sees too.
    void status(std::string_view text) const {
        line({text});
        const iovec all[] = {iovecOf(text), iovecOf("\n")};
        if (writev(STDOUT_FILENO, all, 2) < 0) {
            throw std::runtime_error("nobody reads the status");
        }
    }

private:
    static iovec iovecOf(std::string_view text) {
        return {const_cast<char*>(text.data()), text.size()};
    }

    static std::string prefix() {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        tm local{};
        localtime_r(&now.tv_sec, &local);
        char date[32], text[80];
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
        const int length = std::snprintf(text, sizeof text, "%s.%03ld duty_peer[%d:%d] ", date,
            now.tv_nsec / 1'000'000, getpid(), gettid());
        return {text, static_cast<std::size_t>(length)};
    }

    int m_file;
};

std::string_view textUnder(std::string_view body, std::string_view key) {
    const std::size_t found = body.find(key);
    if (found == std::string_view::npos) {
        throw std::runtime_error("no " + std::string(key));
    }
    const std::size_t start = found + key.size();
    return body.substr(start, body.find('"', start) - start);
}

/// Whether decoding the text and encoding what comes of it gives it again.
bool isCanonicalBase64(std::string_view text) {
    const std::size_t before = text.size() - std::min<std::size_t>(text.size(), 4);
    const auto isForeign = [](auto c) {
        const auto letter = c | std::uint8_t{0x20};
        return ((letter < std::uint8_t{'a'}) | (letter > std::uint8_t{'z'}))
            & ((c < std::uint8_t{'/'}) | (c > std::uint8_t{'9'})) & (c != std::uint8_t{'+'});
    };
    const auto end = base64Decoded(text.substr(before));
    return text.size() % 4 == 0 && end && base64Encoded(*end) == text.substr(before)
        && lengthWithout(text.substr(0, before), isForeign) == before;
}

class Peer {
public:
    Peer(Channel& channel, const Log& log, std::string_view room)
        : m_channel(channel)
        , m_log(log)
        , m_destination("SEND\ndestination:/app/room/" + std::string(room) + "\ncontent-length:") {
    }

    /// Whether the session goes on.
    bool answer(std::string_view frame) {
        const std::size_t head = frame.find("\n\n");
        if (head == std::string_view::npos) {
            return !frame.empty(); // a heart-beat
        }
        const std::string_view body = frame.substr(head + 2, frame.size() - head - 3);
        m_log.line({"STOMP message received: ", body});
        const std::string_view command = textUnder(body, "\"command\":\"");
        m_log.line({"Processing command: ", command});
        if (command == "SERVER_CONNECT") {
            m_log.line({"Sending message: CLIENT_CONNECT nil nil"});
            send({R"({"command":"CLIENT_CONNECT","payload":null,"requestId":null})"});
        } else if (command == "LIST_CERTIFICATES") {
            list();
        } else if (command == "SIGN_PDF") {
            sign(body);
        } else {
            m_log.line({command, " received - exiting"});
            return false;
        }
        return true;
    }

private:
    void send(const Parts& body) {
        std::size_t size = 0;
        for (const std::string_view part : body) {
            size += part.size();
        }
        const std::string head = m_destination + std::to_string(size) + "\n\n";
        Parts parts{head};
        parts.insert(parts.end(), body.begin(), body.end());
        parts.push_back("\0"sv);
        m_channel.send(parts);
    }

    std::vector<Identity> identitiesWithLog() const {
        std::vector<Identity> all = identities();
        for (const Identity& identity : all) {
            m_log.line({"Parsing certificiate Optional(certificate of ", identity.subject, ")"});
        }
        return all;
    }

    void list() {
        m_log.status("Listing certificates");
        std::string text;
        for (const Identity& identity : identitiesWithLog()) {
            text += (text.empty() ? R"([{"alias":")" : R"(,{"alias":")") + identity.name
                + R"(","name":")" + identity.name + R"(","certificateDigest":")" + identity.digest
                + R"(","validFrom":null,"validTo":null,"issuerDn":")" + identity.issuer
                + R"(","subjectDn":")" + identity.subject + R"(","serialHex":")" + identity.serial
                + R"(","certificate":null})";
        }
        const std::string payload = base64Encoded(bytesOf(text + "]"));
        m_log.line({"Sending message: CERTIFICATE_LIST Optional(\"", payload, "\") nil"});
        send({R"({"command":"CERTIFICATE_LIST","payload":")", payload, R"(","requestId":null})"});
    }

    /// The request ends with the document and its identifier:
    /// `..."pdfToSign":"..."},"requestId":"..."}`
    void sign(std::string_view body) {
        constexpr std::string_view documentKey = "\"pdfToSign\":\"", idKey = "},\"requestId\":\"";
        const std::size_t payload = body.find("\"payload\":") + 10;
        const std::size_t document = body.find(documentKey) + documentKey.size();
        const std::size_t end = body.rfind(idKey);
        const std::string_view pdf = body.substr(document, end - 1 - document);
        const std::string_view id = textUnder(body.substr(end), idKey);
        m_log.status("Signing attachment");
        m_log.line({"Signing PDF: Optional(", body.substr(payload, end + 1 - payload), ")"});
        const auto bytes = base64Decoded(textUnder(body, "\"bytesToSign\":\""));
        if (!bytes || !isCanonicalBase64(pdf)) {
            throw std::runtime_error("no Base64");
        }
        const std::string_view digest = textUnder(body, "\"certificateDigest\":\"");
        for (const Identity& identity : identitiesWithLog()) {
            if (identity.digest == digest) {
                answerSigned(identity, *bytes, pdf, id);
                return;
            }
        }
        throw std::runtime_error("no such certificate");
    }

    void answerSigned(
        const Identity& identity, BytesView bytes, std::string_view pdf, std::string_view id) {
        m_log.line({"bytesToSign: Optional(", std::to_string(bytes.size()), " bytes)"});
        m_log.line({"privateKey: Optional(RSA private key)"});
        m_log.line({"signatureAlgorithm: SHA256withRSA"});
        m_log.line({"keychain: ZqMacClient.ZqKeychainAccess"});
        const std::string signature = signatureOf(identity, bytes);
        m_log.line({"PDF successfully signed: Optional(\"", signature, "\")"});
        const std::string before = R"({"signature":")" + signature + R"(","certificate":")"
            + base64Encoded(identity.der) + R"(","pdfToSign":")";
        const std::string after = R"(","requestId":")" + std::string(id) + R"("})";
        m_log.line({"Sending message: SIGN_PDF_RESPONSE Optional(", before, pdf, after,
            ") Optional(\"", id, "\")"});
        send({R"({"command":"SIGN_PDF_RESPONSE","payload":)", before, pdf, after,
            R"(,"requestId":")", id, "\"}"});
    }

    Channel& m_channel;
    const Log& m_log;
    const std::string m_destination;
};

void checkForUpdates(SSL_CTX* context, const std::string& port, const Log& log) {
    log.status("Checking for application updates...");
    Channel channel(context, port);
    const std::string answer = channel.answerTo(
        "GET /update/version?os=macos HTTP/1.1\r\nHost: localhost:" + port + "\r\n\r\n");
    log.line({"Latest available Quillet version: ", textUnder(answer, "\"value\":\"")});
    log.status("No application updates found.");
}

void run(char** arguments) {
    const std::string port = arguments[1], room = arguments[2];
    const Log log(arguments[4]);
    log.status("Starting Quillet version 1.0.0.");
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    SSL_CTX_load_verify_file(context, arguments[3]);
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_default_read_buffer_len(context, std::size_t{256} << 10);
    checkForUpdates(context, port, log);

    Channel channel(context, port);
    const std::string upgraded
        = channel.answerTo("GET /room/" + room + " HTTP/1.1\r\nHost: localhost:" + port
            + "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
              "Sec-WebSocket-Protocol: v12.stomp\r\nSec-WebSocket-Key: "
              "AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n");
    if (!upgraded.starts_with("HTTP/1.1 101 ")) {
        throw std::runtime_error(upgraded);
    }
    channel.send({"CONNECT\naccept-version:1.2\nhost:localhost\nheart-beat:0,0\n\n\0"sv});
    channel.receive();
    log.status("Connected to Quillet server");
    channel.send({"SUBSCRIBE\ndestination:/topic/room/", room, "\nid:sub-0\n\n\0"sv});
    Peer peer(channel, log, room);
    while (peer.answer(channel.receive())) { }
    channel.close();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: duty_peer PORT ROOM CA-FILE LOG\n", stderr);
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    try {
        run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "duty_peer: %s\n", error.what());
        return 1;
    }
    std::fflush(stdout);
    _exit(0); // what is left is the system's to take back
}
