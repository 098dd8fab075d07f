// SPDX-License-Identifier: MIT
// Large bodies on their short way, compared with the frame decoder: the same frames, the same
// words, however the stream is cut. Input: options, then the stream.
#include "frameworks/CRVStompClient/StompMessages.h"
#include "tests/fuzz/FuzzTarget.h"

#include <array>

using namespace stomp;
using fuzz::require;

namespace {

/// All that came of a stream, as text.
class Story {
public:
    void add(const Frame& frame, std::string_view body) {
        m_text += frame.command;
        for (const auto& [name, value] : frame.headers.entries()) {
            m_text += '|' + name + '=' + value;
        }
        m_text += '|' + std::string(body) + '\n';
    }
    void fail(const std::string& error) { m_text += error; }
    bool operator==(const Story&) const = default;

private:
    std::string m_text;
};

Story plainStory(std::string_view stream, std::optional<Version> version, Limits limits) {
    FrameDecoder decoder(limits);
    if (version) {
        decoder.setVersion(*version);
    }
    Story story;
    Frame frame;
    auto result = FrameDecoder::Result::frame;
    while (result == FrameDecoder::Result::frame) {
        result = decoder.decode(stream, frame);
        if (result == FrameDecoder::Result::frame) {
            story.add(frame, frame.body + '\0');
        }
    }
    story.fail(decoder.error());
    return story;
}

Story shortStory(std::string_view stream, std::optional<Version> version, Limits limits,
    std::size_t longest, bool isOneMemory) {
    MessageDecoder decoder(limits, 3);
    if (version) {
        decoder.setVersion(*version);
    }
    Story story;
    OwnedText rest{std::string(stream)};
    std::size_t length = longest;
    auto result = MessageDecoder::Result::needMore;
    while (!rest.empty() && result != MessageDecoder::Result::failed) {
        OwnedText piece = rest.takePrefix(std::min(rest.size(), length));
        if (!isOneMemory) {
            piece = OwnedText(std::string(piece.view()));
        }
        Frame frame;
        OwnedText body;
        do {
            result = decoder.decode(piece, frame, body);
            if (result == MessageDecoder::Result::frame) {
                require(frame.body.empty(), "a body comes once");
                story.add(frame, body.view());
            }
        } while (result == MessageDecoder::Result::frame);
        length = (length * 5 + 3) % longest + 1;
    }
    story.fail(decoder.error());
    return story;
}

} // namespace

void fuzz::target(std::string_view bytes) {
    Input input(bytes);
    const std::optional<Version> version = std::array<std::optional<Version>, 4>{
        Version::v1_0, Version::v1_1, Version::v1_2, std::nullopt}[input.takeByte() % 4];
    const std::size_t longest = input.takeByte() % 128 + 1;
    const Limits limits = input.takeByte() % 2 == 0
        ? Limits()
        : Limits{.headerLine = 5000, .headers = 6000, .body = 30};
    const std::string_view stream = input.takeRest();
    const Story expected = plainStory(stream, version, limits);
    for (const bool isOneMemory : {true, false}) {
        require(shortStory(stream, version, limits, longest, isOneMemory) == expected,
            "the short way leads to the same");
    }
}
