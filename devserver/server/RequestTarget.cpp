// SPDX-License-Identifier: MIT
#include "devserver/server/RequestTarget.h"

#include <boost/url/encode.hpp>
#include <boost/url/pct_string_view.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>

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
    return percentDecoded(path.substr(start + marker.size()));
}

std::optional<std::string> RequestTarget::queryValue(std::string_view key) const {
    std::string_view rest = query;
    while (!rest.empty()) {
        const std::size_t end = rest.find('&');
        const std::string_view item = rest.substr(0, end);
        const std::size_t equals = item.find('=');
        if (equals != std::string_view::npos && percentDecoded(item.substr(0, equals)) == key) {
            return percentDecoded(item.substr(equals + 1));
        }
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    return std::nullopt;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    const auto encoded = boost::urls::make_pct_string_view({text.data(), text.size()});
    if (!encoded) {
        return std::nullopt;
    }
    return encoded->decode();
}

std::string percentEncoded(std::string_view text, bool keepSlashes) {
    constexpr auto withSlash = boost::urls::unreserved_chars + '/';
    const boost::core::string_view view(text.data(), text.size());
    return keepSlashes ? boost::urls::encode(view, withSlash)
                       : boost::urls::encode(view, boost::urls::unreserved_chars);
}

} // namespace devserver
