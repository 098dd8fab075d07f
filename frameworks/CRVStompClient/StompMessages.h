// SPDX-License-Identifier: MIT
// Frames out of what comes in, whose large bodies stay in the memory in which they came.
#pragma once

#include "foundation/SharedText.h"
#include "frameworks/CRVStompClient/StompFrame.h"

#include <optional>
#include <string>
#include <string_view>

namespace stomp {

/// A `FrameDecoder` past which large bodies of known length are led.
class MessageDecoder {
public:
    using Result = FrameDecoder::Result;

    /// A body from this length on is not copied, if it comes in one memory.
    static constexpr std::size_t largeBody = std::size_t{64} << 10;

    explicit MessageDecoder(Limits limits = {}, std::size_t large = largeBody)
        : m_limits(limits)
        , m_large(large)
        , m_decoder(limits) { }

    void setVersion(Version version) { m_decoder.setVersion(version); }

    /// As `FrameDecoder::decode`; but the body comes apart, with its terminator.
    Result decode(OwnedText& input, Frame& frame, OwnedText& body);

    const std::string& error() const { return m_error.empty() ? m_decoder.error() : m_error; }

private:
    bool beginLargeBody(OwnedText& input);
    Result takeLargeBody(OwnedText& input, Frame& frame, OwnedText& body);
    void addToBody(OwnedText part);
    std::size_t bodySize() const { return m_body.size() + m_copiedBody.size(); }

    Limits m_limits;
    std::size_t m_large;
    FrameDecoder m_decoder;
    std::optional<std::size_t> m_length; // of the large body that comes in
    Frame m_frame; // to which it belongs
    OwnedText m_body; // while it comes in one memory
    std::string m_copiedBody; // otherwise
    std::string m_error;
};

} // namespace stomp
