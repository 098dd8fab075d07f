// SPDX-License-Identifier: MIT
// STOMP frames and their text form: a pure codec, without a connection.
// Sources: STOMP 1.0, 1.1 ("Value Encoding") and 1.2 ("STOMP Frames", "Augmented BNF").
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace stomp {

enum class Version { v1_0, v1_1, v1_2 };

/// "1.0", "1.1" or "1.2".
std::string_view versionText(Version version);
std::optional<Version> versionFromText(std::string_view text);

/// Header entries in frame order. Of repeated names the first counts (STOMP 1.2, "Repeated Header
/// Entries").
class Headers {
public:
    using Entry = std::pair<std::string, std::string>;

    Headers() = default;
    Headers(std::initializer_list<Entry> entries)
        : m_entries(entries) { }

    void add(std::string name, std::string value) {
        m_entries.emplace_back(std::move(name), std::move(value));
    }
    /// The value of the first entry named `name`, or null.
    const std::string* find(std::string_view name) const;
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    std::vector<Entry> m_entries;
};

struct Frame {
    std::string command;
    Headers headers;
    std::string body; // without the terminating NUL
};

/// Sizes in bytes above which a frame is refused.
struct Limits {
    std::size_t headerLine = std::size_t{64} << 10; // also the command line
    std::size_t headers = std::size_t{64} << 10; // all header lines of a frame together
    std::size_t body = std::size_t{256} << 20;
};

/// The head of a frame: command, header lines, blank line. The body and one NUL follow it on the
/// wire. Nothing when the command is no line of text, or an entry cannot be expressed in `version`
/// (a line break in 1.0, a carriage return before 1.2).
std::optional<std::string> encodeHead(
    std::string_view command, const Headers& headers, Version version);

/// A whole frame, with a content-length header added unless there is one.
std::optional<std::string> encode(const Frame& frame, Version version);

/// Turns a byte stream, cut anywhere, into frames. Not usable after a failure.
class FrameDecoder {
public:
    enum class Result { needMore, frame, failed };

    explicit FrameDecoder(Limits limits = {})
        : m_limits(limits) { }

    /// How header entries of the frames to come are escaped. CONNECT and CONNECTED never are.
    /// Before a version is settled, and in an ERROR, whose words are for the user, what is no known
    /// escape sequence stands for itself.
    void setVersion(Version version) { m_version = version; }

    /// Whether what comes next begins a frame, or is a heart-beat.
    bool isBetweenFrames() const { return m_state == State::betweenFrames; }

    /// Takes bytes from the front of `input`. `frame`: one is in `frame`, and the rest of `input`
    /// is still to be decoded. `needMore`: all was taken. `failed`: see `error`.
    Result decode(std::string_view& input, Frame& frame);

    /// In words, what breaks the protocol or which limit is exceeded.
    const std::string& error() const { return m_error; }

private:
    enum class State { betweenFrames, command, headers, body, failed };

    std::optional<std::string_view> takeLine(std::string_view& input);
    bool takeHeaderLine(std::string_view line);
    bool beginBody();
    bool takeBody(std::string_view& input);
    bool fail(std::string reason);

    Limits m_limits;
    std::optional<Version> m_version;
    State m_state = State::betweenFrames;
    Frame m_frame;
    std::string m_line;
    std::size_t m_headerBytes = 0;
    std::optional<std::size_t> m_contentLength;
    std::string m_error;
};

} // namespace stomp
