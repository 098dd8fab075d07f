// SPDX-License-Identifier: MIT
// What a server serves besides the update check and the rooms of agents.
#pragma once

#include "devserver/server/EventFeed.h"
#include "devserver/server/ServerOptions.h"

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace devserver {

/// A feed as an answer: it is streamed from number `position` on until it or the reader ends.
struct EventAnswer {
    std::shared_ptr<EventFeed> feed;
    std::size_t position = 0;
};

using WebAnswer = std::variant<HttpAnswer, EventAnswer>;

class WebHandler {
public:
    virtual ~WebHandler() = default;
    /// Called on the server's thread for one request after the other; it must not block.
    virtual WebAnswer answer(const RecordedRequest& request, std::string body) = 0;
    /// The answer to a request whose body is longer than `bodyLimit`.
    virtual HttpAnswer tooLarge() const = 0;
    virtual std::uint64_t bodyLimit() const = 0;
};

} // namespace devserver
