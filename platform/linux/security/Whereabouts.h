// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <string>

namespace platform {

/// What the keychain waits for while other people's code runs: a card, a module. From any thread.
class Whereabouts {
public:
    void set(std::string place) {
        const std::lock_guard lock(m_mutex);
        m_place = std::move(place);
    }
    std::string get() const {
        const std::lock_guard lock(m_mutex);
        return m_place;
    }

private:
    mutable std::mutex m_mutex;
    std::string m_place;
};

} // namespace platform
