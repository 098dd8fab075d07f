// SPDX-License-Identifier: MIT
#include "devserver/session/RoomId.h"

#include "devserver/documents/CmsSignature.h"

#include <cstdint>
#include <random>
#include <string_view>

namespace devserver {

std::string newRoomId() {
    constexpr std::string_view digits = "0123456789abcdef";
    std::random_device random;
    std::string id;
    for (int i = 0; i < 32; ++i) {
        id += digits[random() % digits.size()];
    }
    return id;
}

std::string roomCode(const std::string& roomId) {
    constexpr std::uint32_t codes = 1'000'000;
    constexpr std::size_t digits = 6;
    std::uint32_t number = 0;
    for (const char byte : sha256({roomId}).substr(0, sizeof number)) {
        number = (number << 8) | static_cast<unsigned char>(byte);
    }
    std::string code = std::to_string(number % codes);
    return code.insert(0, digits - code.size(), '0');
}

} // namespace devserver
