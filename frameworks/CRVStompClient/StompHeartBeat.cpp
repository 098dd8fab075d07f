// SPDX-License-Identifier: MIT
#include "frameworks/CRVStompClient/StompHeartBeat.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace stomp {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds longest = std::chrono::hours(24);

std::optional<milliseconds> intervalFromText(std::string_view digits) {
    std::uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [parsed, status] = std::from_chars(digits.data(), end, number);
    if (parsed != end || status == std::errc::invalid_argument) {
        return std::nullopt;
    }
    const auto most = static_cast<std::uint64_t>(longest.count());
    return status == std::errc() ? milliseconds(std::min(number, most)) : longest;
}

milliseconds agreedInterval(milliseconds canSend, milliseconds wants) {
    const bool isNever = canSend == milliseconds() || wants == milliseconds();
    return isNever ? milliseconds() : std::max(canSend, wants);
}

} // namespace

std::optional<HeartBeat> heartBeatFromText(std::string_view text) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) {
        return std::nullopt;
    }
    const auto canSend = intervalFromText(text.substr(0, comma));
    const auto wants = intervalFromText(text.substr(comma + 1));
    return canSend && wants ? std::optional(HeartBeat{*canSend, *wants}) : std::nullopt;
}

std::string heartBeatText(const HeartBeat& heartBeat) {
    return std::to_string(heartBeat.canSend.count()) + ','
        + std::to_string(heartBeat.wants.count());
}

HeartBeatAgreement agreed(const HeartBeat& ours, const HeartBeat& theirs) {
    return {agreedInterval(ours.canSend, theirs.wants), agreedInterval(theirs.canSend, ours.wants)};
}

} // namespace stomp
