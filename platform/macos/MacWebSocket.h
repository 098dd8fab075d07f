// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Application.h"
#include "platform/Network.h"

namespace platform {

/// `Network::openWebSocket` and `Network::flush`; events are handed to `application`.
std::shared_ptr<WebSocket> openMacWebSocket(Application& application,
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate);
void flushMacWebSockets(std::chrono::milliseconds limit);

} // namespace platform
