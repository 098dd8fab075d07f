// SPDX-License-Identifier: MIT
// Request targets of HTTP (RFC 9112, 3.2.1).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace devserver {

/// The two parts of a target, still encoded; views into it.
struct RequestTarget {
    std::string_view path;
    std::string_view query; // without "?"

    static RequestTarget of(std::string_view target);

    /// The room that a WebSocket is opened for: the decoded text after the path's last "/room/".
    /// It may be empty, and it may hold slashes. Nothing when the path names none.
    std::optional<std::string> room() const;

    /// The decoded value of the first query item named `key`.
    std::optional<std::string> queryValue(std::string_view key) const;
};

} // namespace devserver
