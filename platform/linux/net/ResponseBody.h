// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform::linux_ {

/// The body of an HTTP/1.1 response whose head has been read (RFC 9112, sections 6 and 7), taken in
/// pieces of any size. What a chunk says beside its length, and the trailer, are read over.
class ResponseBody {
public:
    enum class State { reading, complete, tooLong, malformed };

    /// A body of that length; without a length, one that the end of the stream ends.
    static ResponseBody plain(std::optional<std::uint64_t> length, std::size_t limit);
    static ResponseBody chunked(std::size_t limit);

    /// Bytes of the stream; those behind the end of the body are ignored.
    void take(std::string_view bytes);
    /// The stream is at its end; still `reading` afterwards means that the body is cut short.
    void endOfStream();

    State state() const { return m_state; }
    std::string release() { return std::move(m_body); }

private:
    enum class Part { toTheEnd, data, dataEnd, sizeLine, trailerLine };

    ResponseBody(Part part, std::size_t limit)
        : m_part(part)
        , m_limit(limit) { }

    void takeData(std::string_view& bytes);
    void takeLine(std::string_view& bytes);
    void lineEnded();

    State m_state = State::reading;
    Part m_part;
    bool m_isChunked = false;
    std::size_t m_limit;
    std::uint64_t m_left = 0; // of the body or the chunk
    std::string m_line; // of a chunked body, as far as it has come
    std::size_t m_trailerSize = 0;
    std::string m_body;
};

} // namespace platform::linux_
