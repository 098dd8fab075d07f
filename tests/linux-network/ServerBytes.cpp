// SPDX-License-Identifier: MIT
#include "tests/linux-network/ServerBytes.h"

#include "tests/support/StompText.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

namespace {

constexpr unsigned continuationOpcode = 0x0;
constexpr unsigned textOpcode = 0x1;
constexpr unsigned binaryOpcode = 0x2;
constexpr unsigned closeOpcode = 0x8;
constexpr unsigned pingOpcode = 0x9;

std::string acceptKey(const std::string& key) {
    const std::string input = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(reinterpret_cast<const unsigned char*>(input.data()), input.size(), digest);
    unsigned char encoded[32];
    const int length = EVP_EncodeBlock(encoded, digest, sizeof digest);
    return {reinterpret_cast<const char*>(encoded), static_cast<std::size_t>(length)};
}

std::string command(const std::string& json) {
    return frameText(
        "MESSAGE\nsubscription:sub-0\nmessage-id:1\ncontent-length:" + std::to_string(json.size()),
        json);
}

} // namespace

std::string upgradeAnswer(const std::string& request) {
    const std::string name = "Sec-WebSocket-Key: ";
    const std::size_t start = request.find(name) + name.size();
    const std::string key = request.substr(start, request.find("\r\n", start) - start);
    return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Accept: "
        + acceptKey(key) + "\r\n\r\n";
}

std::string serverFrame(unsigned opcode, std::string_view payload, bool isFinal) {
    std::string frame(1, static_cast<char>((isFinal ? 0x80U : 0U) | opcode));
    if (payload.size() < 126) {
        frame += static_cast<char>(payload.size());
    } else {
        frame += static_cast<char>(126); // for the short payloads of tests
        frame += static_cast<char>(payload.size() >> 8U);
        frame += static_cast<char>(payload.size() & 0xFFU);
    }
    return frame += payload;
}

std::string sessionBytes() {
    const std::string pdf = R"({"command":"SIGN_PDF","payload":{"certificateDigest":")"
        + certificateDigest
        + R"(","signatureAlgorithm":"SHA256withRSA","bytesToSign":"AAEC"},"requestId":"r1"})";
    const std::string xml = R"({"command":"SIGN_XML","payload":{"certificateDigest":")"
        + certificateDigest
        + R"(","signatureAlgorithm":"SHA1withRSA","xmlSignedInfo":"<a/>"},"requestId":2})";
    const std::string greeting = command(R"({"command":"SERVER_CONNECT"})");
    const std::string pdfCommand = command(pdf);
    return serverFrame(textOpcode, frameText("CONNECTED\nversion:1.2\nheart-beat:0,0")) //
        + serverFrame(textOpcode, "\n") //
        + serverFrame(textOpcode, greeting + command(R"({"command":"LIST_CERTIFICATES"})")) //
        + serverFrame(binaryOpcode, pdfCommand.substr(0, 20), false) //
        + serverFrame(pingOpcode, "are you there") //
        + serverFrame(continuationOpcode, pdfCommand.substr(20, 100), false) //
        + serverFrame(continuationOpcode, pdfCommand.substr(120)) //
        + serverFrame(textOpcode, command(xml) + "\n\n") //
        + serverFrame(textOpcode, frameText("RECEIPT\nreceipt-id:1"));
}

std::string closeBytes(unsigned code) {
    const char payload[] = {static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)};
    return serverFrame(closeOpcode, {payload, sizeof payload});
}
