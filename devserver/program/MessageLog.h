// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <ostream>
#include <string_view>

namespace devserver {

/// Lines with the time of day in UTC, each written whole. From any thread.
class MessageLog {
public:
    /// The stream outlives the log.
    explicit MessageLog(std::ostream& out)
        : m_out(out) { }

    void note(std::string_view text);
    /// Text without a time; nothing for an empty one.
    void reply(std::string_view text);
    /// An envelope, folded. `agent` names the other side.
    void sent(std::string_view agent, std::string_view envelope);
    void received(std::string_view agent, std::string_view envelope);

private:
    std::mutex m_mutex;
    std::ostream& m_out;
};

} // namespace devserver
