// SPDX-License-Identifier: MIT
// The agreement on heart-beats (STOMP 1.1 and 1.2, "Heart-beating").
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace stomp {

/// What one side offers in its heart-beat header. Zero means never.
struct HeartBeat {
    std::chrono::milliseconds canSend{}; // at least once in so long
    std::chrono::milliseconds wants{}; // to receive something once in so long
    friend bool operator==(const HeartBeat&, const HeartBeat&) = default;
};

/// Reads "10000,10000"; nothing when it is not two numbers. More than a day counts as a day.
std::optional<HeartBeat> heartBeatFromText(std::string_view text);
std::string heartBeatText(const HeartBeat& heartBeat);

/// The intervals that one side has to keep after both offers. Zero means never.
struct HeartBeatAgreement {
    std::chrono::milliseconds send{};
    std::chrono::milliseconds receive{};
    friend bool operator==(const HeartBeatAgreement&, const HeartBeatAgreement&) = default;
};
HeartBeatAgreement agreed(const HeartBeat& ours, const HeartBeat& theirs);

} // namespace stomp
