// SPDX-License-Identifier: MIT
// A stream of STOMP frames as tests look at it.
#pragma once

#include "frameworks/CRVStompClient/StompFrame.h"
#include "tests/support/StompText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace stomp {

inline constexpr Version allVersions[] = {Version::v1_0, Version::v1_1, Version::v1_2};

/// What came of a stream: the frames, one text each, and the error or nothing.
struct Decoded {
    std::vector<std::string> frames;
    std::string error;
    bool operator==(const Decoded&) const = default;
};

/// For messages of failed tests.
inline std::ostream& operator<<(std::ostream& out, const Decoded& decoded) {
    return out << testing::PrintToString(decoded.frames) << " error: " << decoded.error;
}

inline std::string describe(const Frame& frame) {
    std::string text = frame.command;
    for (const auto& [name, value] : frame.headers.entries()) {
        text += "|" + name + "=" + value;
    }
    return text + "|" + frame.body;
}

class Stream {
public:
    explicit Stream(Version version = Version::v1_2, Limits limits = {})
        : m_decoder(limits) {
        m_decoder.setVersion(version);
    }

    Stream& feed(std::string_view input) {
        Frame frame;
        while (true) {
            switch (m_decoder.decode(input, frame)) {
            case FrameDecoder::Result::frame:
                m_decoded.frames.push_back(describe(frame));
                break;
            case FrameDecoder::Result::needMore:
                EXPECT_TRUE(input.empty());
                return *this;
            case FrameDecoder::Result::failed:
                m_decoded.error = m_decoder.error();
                return *this;
            }
        }
    }

    const Decoded& decoded() const { return m_decoded; }

private:
    FrameDecoder m_decoder;
    Decoded m_decoded;
};

inline Decoded decodeAll(
    std::string_view text, Version version = Version::v1_2, Limits limits = {}) {
    return Stream(version, limits).feed(text).decoded();
}

inline Decoded decodeBytewise(std::string_view text, Version version, Limits limits) {
    Stream stream(version, limits);
    for (std::size_t i = 0; i < text.size() && stream.decoded().error.empty(); ++i) {
        stream.feed(text.substr(i, 1));
    }
    return stream.decoded();
}

/// The value of the header "h" as a frame carries it.
inline std::optional<std::string> readValue(const std::string& wire, Version version) {
    FrameDecoder decoder;
    decoder.setVersion(version);
    const std::string text = frameText("MESSAGE\nh:" + wire);
    std::string_view input = text;
    Frame frame;
    return decoder.decode(input, frame) == FrameDecoder::Result::frame
        ? std::optional(*frame.headers.find("h"))
        : std::nullopt;
}

inline std::optional<std::string> writtenValue(
    const std::string& value, Version version, std::string_view command = "SEND") {
    const auto head = encodeHead(command, {{"h", value}}, version);
    if (!head) {
        return std::nullopt;
    }
    const std::size_t prefix = command.size() + 3; // line end, name, colon
    return head->substr(prefix, head->size() - prefix - 2);
}

} // namespace stomp
