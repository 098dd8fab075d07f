// SPDX-License-Identifier: MIT
// A value, or the reason in words why there is none.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace platform::linux_ {

/// Why something failed, in words that a user can act on.
struct Failure {
    std::string text;
};

template <typename T>
class Expected {
public:
    Expected(T value)
        : m_content(std::in_place_index<0>, std::move(value)) { }
    Expected(Failure failure)
        : m_content(std::in_place_index<1>, std::move(failure)) { }

    explicit operator bool() const { return m_content.index() == 0; }
    T& operator*() { return std::get<0>(m_content); }
    const T& operator*() const { return std::get<0>(m_content); }
    T* operator->() { return &std::get<0>(m_content); }
    const T* operator->() const { return &std::get<0>(m_content); }
    const Failure& failure() const { return std::get<1>(m_content); }

private:
    std::variant<T, Failure> m_content;
};

} // namespace platform::linux_
