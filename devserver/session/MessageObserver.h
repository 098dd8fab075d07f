// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace devserver {

/// Sees every envelope of a session, whole, as it is sent or received.
class MessageObserver {
public:
    virtual ~MessageObserver() = default;
    virtual void sent(std::string_view envelope) = 0;
    virtual void received(std::string_view envelope) = 0;
};

} // namespace devserver
