// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

/// One HTTPS GET whose JSON answer carries a text under "value".
class ZqRestApiClient {
public:
    /// `url` is complete: scheme, host, path and query.
    explicit ZqRestApiClient(std::string url);

    /// Performs the request, blocking the caller; nothing when "value" is missing or not text. A
    /// failure is shown to the user and ends the process. `actionText` says what is being done.
    std::optional<std::string> getValue(const std::string& actionText) const;

private:
    std::string m_url;
};
