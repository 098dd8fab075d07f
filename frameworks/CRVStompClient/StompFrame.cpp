// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompFrame.h"

#include <algorithm>
#include <charconv>

namespace stomp {

namespace {

constexpr std::string_view contentLengthName = "content-length";

/// STOMP 1.2, "Value Encoding": CONNECT and CONNECTED stay as they are for the sake of 1.0 peers.
bool isEscaped(std::string_view command, Version version) {
    return version != Version::v1_0 && command != "CONNECT" && command != "CONNECTED";
}

bool isSpecial(char c) {
    return c == '\\' || c == '\n' || c == ':' || c == '\r' || c == '\0';
}

bool appendEscaped(std::string& out, std::string_view text, Version version) {
    while (true) {
        const auto found = std::find_if(text.begin(), text.end(), isSpecial);
        const auto plain = static_cast<std::size_t>(found - text.begin());
        out += text.substr(0, plain);
        if (plain == text.size()) {
            return true;
        }
        switch (text[plain]) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case ':':
            out += "\\c";
            break;
        case '\r':
            if (version != Version::v1_2) {
                return false;
            }
            out += "\\r";
            break;
        default:
            return false;
        }
        text.remove_prefix(plain + 1);
    }
}

bool appendVerbatim(std::string& out, std::string_view text, bool isName) {
    const std::string_view forbidden(isName ? "\n\r\0:" : "\n\r\0", isName ? 4 : 3);
    if (text.find_first_of(forbidden) != std::string_view::npos) {
        return false;
    }
    out += text;
    return true;
}

/// The character that an escape sequence with `letter` stands for.
std::optional<char> escapedCharacter(char letter, std::optional<Version> version) {
    switch (letter) {
    case 'n':
        return '\n';
    case 'c':
        return ':';
    case '\\':
        return '\\';
    case 'r':
        return version.value_or(Version::v1_2) == Version::v1_2 ? std::optional('\r')
                                                                : std::nullopt;
    default:
        return std::nullopt;
    }
}

/// One pass, so that an escaped backslash never combines with what follows it.
std::optional<std::string> unescaped(std::string_view text, std::optional<Version> version) {
    std::size_t backslash = text.find('\\');
    std::string out(text.substr(0, backslash));
    while (backslash != std::string_view::npos) {
        text.remove_prefix(backslash + 1);
        if (const auto c = text.empty() ? std::nullopt : escapedCharacter(text.front(), version)) {
            out += *c;
            text.remove_prefix(1);
        } else if (version) {
            return std::nullopt;
        } else {
            out += '\\';
        }
        backslash = text.find('\\');
        out += text.substr(0, backslash);
    }
    return out;
}

std::string_view withoutCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

} // namespace

std::string_view versionText(Version version) {
    switch (version) {
    case Version::v1_0:
        return "1.0";
    case Version::v1_1:
        return "1.1";
    case Version::v1_2:
        break;
    }
    return "1.2";
}

std::optional<Version> versionFromText(std::string_view text) {
    for (const Version version : {Version::v1_0, Version::v1_1, Version::v1_2}) {
        if (text == versionText(version)) {
            return version;
        }
    }
    return std::nullopt;
}

const std::string* Headers::find(std::string_view name) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
        [&](const Entry& entry) { return entry.first == name; });
    return found == m_entries.end() ? nullptr : &found->second;
}

std::optional<std::string> encodeHead(
    std::string_view command, const Headers& headers, Version version) {
    std::string head;
    if (command.empty() || !appendVerbatim(head, command, false)) {
        return std::nullopt;
    }
    head += '\n';
    const bool escaped = isEscaped(command, version);
    for (const auto& [name, value] : headers.entries()) {
        const bool fine = !name.empty()
            && (escaped ? appendEscaped(head, name, version) : appendVerbatim(head, name, true));
        head += ':';
        if (!fine
            || !(escaped ? appendEscaped(head, value, version)
                         : appendVerbatim(head, value, false))) {
            return std::nullopt;
        }
        head += '\n';
    }
    head += '\n';
    return head;
}

std::optional<std::string> encode(const Frame& frame, Version version) {
    Headers headers = frame.headers;
    if (headers.find(contentLengthName) == nullptr) {
        headers.add(std::string(contentLengthName), std::to_string(frame.body.size()));
    }
    std::optional<std::string> text = encodeHead(frame.command, headers, version);
    if (text) {
        text->reserve(text->size() + frame.body.size() + 1);
        *text += frame.body;
        *text += '\0';
    }
    return text;
}

FrameDecoder::Result FrameDecoder::decode(std::string_view& input, Frame& frame) {
    while (m_state != State::failed) {
        switch (m_state) {
        case State::betweenFrames: {
            // Line ends between frames are heart-beats, or the sender's courtesy.
            const std::size_t start = input.find_first_not_of("\r\n");
            if (start == std::string_view::npos) {
                input = {};
                return Result::needMore;
            }
            input.remove_prefix(start);
            m_frame = {};
            m_headerBytes = 0;
            m_contentLength.reset();
            m_state = State::command;
            break;
        }
        case State::command:
        case State::headers: {
            const std::optional<std::string_view> line = takeLine(input);
            if (!line) {
                return m_state == State::failed ? Result::failed : Result::needMore;
            }
            if (m_state == State::command) {
                m_frame.command = *line;
                m_state = State::headers;
            } else if (line->empty()) {
                beginBody();
            } else {
                takeHeaderLine(*line);
            }
            m_line.clear();
            break;
        }
        case State::body:
            if (takeBody(input)) {
                frame = std::move(m_frame);
                m_state = State::betweenFrames;
                return Result::frame;
            }
            if (m_state != State::failed) {
                return Result::needMore;
            }
            break;
        case State::failed:
            break;
        }
    }
    return Result::failed;
}

/// A line without its end, once it is complete. It stays valid until `m_line` or the input changes.
std::optional<std::string_view> FrameDecoder::takeLine(std::string_view& input) {
    const std::size_t end = input.find('\n');
    const std::string_view part = input.substr(0, end);
    const bool endsInCarriageReturn = part.empty() ? m_line.ends_with('\r') : part.ends_with('\r');
    if (m_line.size() + part.size() > m_limits.headerLine + (endsInCarriageReturn ? 1 : 0)) {
        fail("a header line is longer than " + std::to_string(m_limits.headerLine) + " bytes");
        return std::nullopt;
    }
    if (part.find('\0') != std::string_view::npos) {
        fail("a frame ends before its headers do");
        return std::nullopt;
    }
    if (end == std::string_view::npos) {
        m_line += part;
        input = {};
        return std::nullopt;
    }
    input.remove_prefix(end + 1);
    if (m_line.empty()) {
        return withoutCarriageReturn(part);
    }
    m_line += part;
    return withoutCarriageReturn(m_line);
}

bool FrameDecoder::takeHeaderLine(std::string_view line) {
    m_headerBytes += line.size() + 1;
    if (m_headerBytes > m_limits.headers) {
        return fail("the headers of a frame are larger than " + std::to_string(m_limits.headers)
            + " bytes");
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        return fail("a header line is not of the form name:value");
    }
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = line.substr(colon + 1);
    if (!isEscaped(m_frame.command, m_version.value_or(Version::v1_2))) {
        m_frame.headers.add(std::string(name), std::string(value));
        return true;
    }
    const std::optional<Version> strictness = m_frame.command == "ERROR" ? std::nullopt : m_version;
    auto plainName = unescaped(name, strictness);
    auto plainValue = unescaped(value, strictness);
    if (!plainName || !plainValue) {
        return fail("a header line holds an unknown escape sequence");
    }
    m_frame.headers.add(*std::move(plainName), *std::move(plainValue));
    return true;
}

bool FrameDecoder::beginBody() {
    if (const std::string* text = m_frame.headers.find(contentLengthName)) {
        std::size_t length = 0;
        const char* const end = text->data() + text->size();
        const auto [parsed, status] = std::from_chars(text->data(), end, length);
        if (parsed != end || text->empty() || status == std::errc::invalid_argument) {
            return fail("the content-length of a frame is not a number");
        }
        if (status != std::errc() || length > m_limits.body) {
            return fail(
                "the body of a frame is larger than " + std::to_string(m_limits.body) + " bytes");
        }
        m_contentLength = length;
        m_frame.body.reserve(length + 1); // a receiver may add the terminator without a copy
    }
    m_state = State::body;
    return true;
}

/// Whether the body is complete, its terminator included.
bool FrameDecoder::takeBody(std::string_view& input) {
    std::string& body = m_frame.body;
    if (m_contentLength) {
        const std::string_view part = input.substr(0, *m_contentLength - body.size());
        body += part;
        input.remove_prefix(part.size());
        if (input.empty()) {
            return false;
        }
        if (input.front() != '\0') {
            return fail("a frame does not end where its content-length says");
        }
        input.remove_prefix(1);
        return true;
    }
    const std::size_t end = input.find('\0');
    const std::string_view part = input.substr(0, end);
    if (body.size() + part.size() > m_limits.body) {
        return fail(
            "the body of a frame is larger than " + std::to_string(m_limits.body) + " bytes");
    }
    body += part;
    input.remove_prefix(end == std::string_view::npos ? part.size() : part.size() + 1);
    return end != std::string_view::npos;
}

bool FrameDecoder::fail(std::string reason) {
    m_state = State::failed;
    m_error = std::move(reason);
    return false;
}

} // namespace stomp
