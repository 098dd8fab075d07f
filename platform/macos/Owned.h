// SPDX-License-Identifier: MIT
// Ownership of Core Foundation objects (the Create and the Get rule of its memory management).
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <utility>

namespace platform {

/// What a Create or Copy function returned; released once. Null when it returned nothing.
template <typename Ref>
class Owned {
public:
    Owned() = default;
    explicit Owned(Ref created)
        : m_ref(created) { }
    Owned(Owned&& other) noexcept
        : m_ref(std::exchange(other.m_ref, nullptr)) { }
    Owned& operator=(Owned&&) = delete;
    ~Owned() {
        if (m_ref != nullptr) {
            CFRelease(m_ref);
        }
    }

    Ref get() const { return m_ref; }
    explicit operator bool() const { return m_ref != nullptr; }
    /// Where a function stores the reference that it copies, once.
    Ref* out() { return &m_ref; }

private:
    Ref m_ref = nullptr;
};

} // namespace platform
