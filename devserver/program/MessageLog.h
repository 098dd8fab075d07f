// SPDX-License-Identifier: MIT
#pragma once

#include "devserver/session/MessageObserver.h"

#include <mutex>
#include <ostream>
#include <string_view>

namespace devserver {

/// Lines with the time of day in UTC, each written whole. From any thread.
class MessageLog final : public MessageObserver {
public:
    /// The stream outlives the log.
    explicit MessageLog(std::ostream& out)
        : m_out(out) { }

    void note(std::string_view text);
    void sent(std::string_view envelope) override;
    void received(std::string_view envelope) override;

private:
    std::mutex m_mutex;
    std::ostream& m_out;
};

} // namespace devserver
