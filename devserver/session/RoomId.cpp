// SPDX-License-Identifier: MIT
#include "devserver/session/RoomId.h"

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

} // namespace devserver
