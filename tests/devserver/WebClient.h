// SPDX-License-Identifier: MIT
// What a page does: requests with bodies and headers, and a stream of events.
#pragma once

#include "tests/devserver/TestClient.h"

#include <map>
#include <memory>
#include <string>

namespace devserver::test {

struct WebReply {
    unsigned status = 0; // 0: there is none
    std::string body;
    std::map<std::string, std::string> headers;
};

WebReply call(std::uint16_t port, const std::string& authorityPem, const std::string& method,
    const std::string& target, const std::string& body = "",
    const std::map<std::string, std::string>& headers = {});

/// Reads events until its end.
class EventReader {
public:
    EventReader(std::uint16_t port, const std::string& authorityPem, const std::string& target,
        const std::string& lastEventId = "");
    ~EventReader();

    /// Reads until the stream holds `text` behind what was waited for before; false when the time
    /// is over or the stream has ended.
    bool waitFor(const std::string& text);
    const std::string& text() const { return m_text; }

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    std::string m_text;
    std::size_t m_seen = 0;
};

} // namespace devserver::test
