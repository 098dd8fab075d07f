// SPDX-License-Identifier: MIT
#include "devserver/server/RequestTarget.h"

#include "foundation/PercentEncoding.h"

namespace devserver {

RequestTarget RequestTarget::of(std::string_view target) {
    const std::size_t mark = target.find('?');
    return {target.substr(0, mark),
        mark == std::string_view::npos ? std::string_view() : target.substr(mark + 1)};
}

std::optional<std::string> RequestTarget::room() const {
    constexpr std::string_view marker = "/room/";
    const std::size_t start = path.rfind(marker);
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    return percentDecodedBytes(path.substr(start + marker.size()));
}

std::optional<std::string> RequestTarget::queryValue(std::string_view key) const {
    std::string_view rest = query;
    while (!rest.empty()) {
        const std::size_t end = rest.find('&');
        const std::string_view item = rest.substr(0, end);
        const std::size_t equals = item.find('=');
        if (equals != std::string_view::npos
            && percentDecodedBytes(item.substr(0, equals)) == key) {
            return percentDecodedBytes(item.substr(equals + 1));
        }
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    return std::nullopt;
}

} // namespace devserver
