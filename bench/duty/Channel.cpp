// SPDX-License-Identifier: MIT
#include "bench/duty/Channel.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/bio.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t longestMessage = std::size_t{256} << 20;
constexpr std::size_t recordSize = std::size_t{16} << 10; // of TLS
constexpr std::size_t sentAtOnce = std::size_t{66} << 10; // four records, encrypted
constexpr unsigned char whole = 0x80;
constexpr unsigned char text = 1, closing = 8, ping = 9, pong = 10;

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

int connected(const std::string& port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port.c_str())));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
        "no connection");
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

/// The four bytes with which a frame is masked.
class Mask {
public:
    Mask() { require(getrandom(m_bytes, 4, 0) == 4, "no randomness"); }

    const char* bytes() const { return m_bytes; }

    /// `place` is that of the first byte in the frame.
    void apply(const char* in, std::size_t size, char* out, std::size_t place) const {
        char turned[8];
        for (std::size_t i = 0; i < sizeof turned; ++i) {
            turned[i] = m_bytes[(place + i) % 4];
        }
        std::uint64_t mask = 0;
        std::memcpy(&mask, turned, sizeof mask);
        std::size_t done = 0;
        for (; size - done >= sizeof mask; done += sizeof mask) {
            std::uint64_t word = 0;
            std::memcpy(&word, in + done, sizeof word);
            word ^= mask;
            std::memcpy(out + done, &word, sizeof word);
        }
        for (; done < size; ++done) {
            out[done] = static_cast<char>(in[done] ^ turned[done % 8]);
        }
    }

private:
    char m_bytes[4];
};

/// The head of a whole frame but for the mask; its length.
std::size_t writeHead(char* head, unsigned char kind, std::size_t size) {
    const std::size_t lengthBytes = size < 126 ? 0 : size < 65536 ? 2 : 8;
    head[0] = static_cast<char>(whole | kind);
    head[1] = static_cast<char>(0x80 | (lengthBytes == 0 ? size : lengthBytes == 2 ? 126 : 127));
    for (std::size_t i = 0; i < lengthBytes; ++i) {
        head[2 + i] = static_cast<char>(size >> (8 * (lengthBytes - 1 - i)));
    }
    return 2 + lengthBytes;
}

} // namespace

Channel::Channel(SSL_CTX* context, const std::string& port)
    : m_ssl(SSL_new(context))
    , m_socket(connected(port))
    , m_record(recordSize) {
    BIO* const sending = BIO_new(BIO_f_buffer());
    BIO_set_write_buffer_size(sending, sentAtOnce);
    SSL_set0_rbio(m_ssl.get(), BIO_new_socket(m_socket, BIO_NOCLOSE));
    SSL_set0_wbio(m_ssl.get(), BIO_push(sending, BIO_new_socket(m_socket, BIO_NOCLOSE)));
    SSL_set_verify(m_ssl.get(), SSL_VERIFY_PEER, nullptr);
    char host[] = "localhost";
    SSL_ctrl(m_ssl.get(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, host);
    SSL_set1_host(m_ssl.get(), host);
    require(SSL_connect(m_ssl.get()) == 1, "no TLS");
}

Channel::~Channel() {
    if (m_message != nullptr) {
        munmap(m_message, longestMessage);
    }
    ::close(m_socket);
}

std::size_t Channel::readSome(char* memory, std::size_t size) {
    std::size_t length = 0;
    return SSL_read_ex(m_ssl.get(), memory, size, &length) == 1 ? length : 0;
}

void Channel::readAll(char* memory, std::size_t size) {
    while (size > 0) {
        const std::size_t length = readSome(memory, size);
        require(length > 0, "the connection has ended");
        memory += length;
        size -= length;
    }
}

std::string Channel::answerTo(const std::string& request) {
    std::memcpy(m_record.data(), request.data(), request.size());
    writeRecord(request.size());
    BIO_flush(SSL_get_wbio(m_ssl.get()));
    std::string answer;
    while (!answer.ends_with("\r\n\r\n")) { // byte by byte: what follows is another reader's
        answer.resize(answer.size() + 1);
        readAll(&answer.back(), 1);
    }
    constexpr std::string_view label = "Content-Length: ";
    const std::size_t found = answer.find(label);
    if (found != std::string::npos) {
        const std::size_t head = answer.size();
        answer.resize(head + std::strtoul(&answer[found + label.size()], nullptr, 10));
        readAll(&answer[head], answer.size() - head);
    }
    return answer;
}

std::string_view Channel::receive() {
    if (m_message == nullptr) {
        void* const memory = mmap(nullptr, longestMessage, PROT_READ | PROT_WRITE,
            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        require(memory != MAP_FAILED, "no memory");
        madvise(memory, longestMessage, MADV_HUGEPAGE);
        m_message = static_cast<char*>(memory);
    }
    for (std::size_t fill = 0;;) {
        unsigned char head[8];
        readAll(reinterpret_cast<char*>(head), 2);
        const unsigned char kind = head[0] & 15;
        const bool isLast = (head[0] & whole) != 0;
        std::size_t size = head[1];
        if (size >= 126) {
            const std::size_t lengthBytes = size == 126 ? 2 : 8;
            readAll(reinterpret_cast<char*>(head), lengthBytes);
            size = 0;
            for (std::size_t i = 0; i < lengthBytes; ++i) {
                size = size << 8 | head[i];
            }
        }
        require(size <= longestMessage - fill, "the message is too long");
        readAll(m_message + fill, size);
        if (kind == closing) {
            return {};
        }
        if (kind == ping) {
            sendFrame(pong, {std::string_view(m_message + fill, size)});
        } else if (kind != pong) {
            fill += size;
            if (isLast) {
                return {m_message, fill};
            }
        }
    }
}

void Channel::send(const Parts& parts) {
    sendFrame(text, parts);
}

void Channel::close() {
    sendFrame(closing, {});
    SSL_shutdown(m_ssl.get());
    BIO_flush(SSL_get_wbio(m_ssl.get()));
}

void Channel::sendFrame(unsigned char kind, const Parts& parts) {
    std::size_t size = 0;
    for (const std::string_view part : parts) {
        size += part.size();
    }
    const Mask mask;
    std::size_t fill = writeHead(m_record.data(), kind, size);
    std::memcpy(m_record.data() + fill, mask.bytes(), 4);
    fill += 4;
    std::size_t place = 0;
    for (std::string_view part : parts) {
        while (!part.empty()) {
            const std::size_t taken = std::min(part.size(), recordSize - fill);
            mask.apply(part.data(), taken, m_record.data() + fill, place);
            place += taken;
            fill += taken;
            part.remove_prefix(taken);
            if (fill == recordSize) {
                writeRecord(fill);
                fill = 0;
            }
        }
    }
    writeRecord(fill);
    BIO_flush(SSL_get_wbio(m_ssl.get()));
}

void Channel::writeRecord(std::size_t size) {
    std::size_t written = 0;
    require(size == 0 || SSL_write_ex(m_ssl.get(), m_record.data(), size, &written) == 1,
        "the connection does not take what is sent");
}
