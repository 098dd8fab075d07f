// SPDX-License-Identifier: MIT
// The frame decoder: a stream gives the same frames however it is cut, and what decodes encodes and
// decodes to the same. Input: options, then the stream.
#include "frameworks/CRVStompClient/StompFrame.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <array>

using namespace stomp;
using fuzz::require;

namespace {

struct Decoded {
    std::vector<Frame> frames;
    bool failed = false;
};

bool same(const Frame& a, const Frame& b) {
    return a.command == b.command && a.body == b.body && a.headers.entries() == b.headers.entries();
}

bool same(const Decoded& a, const Decoded& b) {
    return a.failed == b.failed
        && std::equal(a.frames.begin(), a.frames.end(), b.frames.begin(), b.frames.end(),
            [](const Frame& left, const Frame& right) { return same(left, right); });
}

class Stream {
public:
    Stream(std::optional<Version> version, Limits limits)
        : m_decoder(limits)
        , m_limits(limits) {
        if (version) {
            m_decoder.setVersion(*version);
        }
    }

    void feed(std::string_view piece) {
        Frame frame;
        while (!decoded.failed) {
            const auto result = m_decoder.decode(piece, frame);
            if (result == FrameDecoder::Result::needMore) {
                require(piece.empty(), "a decoder that needs more has taken all");
                return;
            }
            decoded.failed = result == FrameDecoder::Result::failed;
            require(decoded.failed == !m_decoder.error().empty(), "a failure is put in words");
            if (!decoded.failed) {
                require(frame.body.size() <= m_limits.body, "the limit of bodies holds");
                decoded.frames.push_back(std::move(frame));
            }
        }
    }

    Decoded decoded;

private:
    FrameDecoder m_decoder;
    Limits m_limits;
};

Decoded decodeAtOnce(std::string_view text, std::optional<Version> version, Limits limits) {
    Stream stream(version, limits);
    stream.feed(text);
    return std::move(stream.decoded);
}

/// Pieces of 1 to `longest` bytes, their lengths a mixture of all.
Decoded decodeInPieces(
    std::string_view text, std::optional<Version> version, Limits limits, std::size_t longest) {
    Stream stream(version, limits);
    fuzz::Input input(text);
    std::size_t length = longest;
    while (!input.isEmpty()) {
        stream.feed(input.takeText(length));
        length = (length * 5 + 3) % longest + 1;
    }
    return std::move(stream.decoded);
}

/// A carriage return inside a text is read by every version, but only 1.2 can write it.
bool holdsCarriageReturn(const Frame& frame) {
    const auto holds = [](const std::string& text) { return text.find('\r') != text.npos; };
    return holds(frame.command)
        || std::any_of(frame.headers.entries().begin(), frame.headers.entries().end(),
            [&](const auto& entry) { return holds(entry.first) || holds(entry.second); });
}

void requireRoundTrip(const Frame& frame, Version version) {
    const std::optional<std::string> text = encode(frame, version);
    if (!text) {
        require(holdsCarriageReturn(frame), "a frame that was decoded can be encoded");
        return;
    }
    Frame expected = frame;
    if (frame.headers.find("content-length") == nullptr) {
        expected.headers.add("content-length", std::to_string(frame.body.size()));
    }
    const std::size_t ample = text->size();
    const Decoded again
        = decodeAtOnce(*text, version, {.headerLine = ample, .headers = ample, .body = ample});
    require(same(again, {{expected}, false}), "an encoded frame decodes to the same");
}

} // namespace

void fuzz::target(std::string_view bytes) {
    Input input(bytes);
    // Before a version is settled, and in an ERROR, unknown escape sequences stand for themselves.
    const std::optional<Version> version = std::array<std::optional<Version>, 4>{
        Version::v1_0, Version::v1_1, Version::v1_2, std::nullopt}[input.takeByte() % 4];
    const std::size_t longest = input.takeByte() % 32 + 1;
    const Limits limits = input.takeByte() % 2 == 0
        ? Limits()
        : Limits{.headerLine = 20, .headers = 60, .body = 30};
    const std::string_view stream = input.takeRest();

    const Decoded decoded = decodeAtOnce(stream, version, limits);
    require(same(decoded, decodeInPieces(stream, version, limits, longest)),
        "a stream may be cut anywhere");
    for (const Frame& frame : decoded.frames) {
        requireRoundTrip(frame, version.value_or(Version::v1_2));
    }
}
