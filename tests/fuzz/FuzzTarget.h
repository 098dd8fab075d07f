// SPDX-License-Identifier: MIT
// What a fuzz target is made of: one function of any bytes, and a way to say that they break a
// property. In the fuzz build libFuzzer calls it; everywhere else a main() runs it over its corpus.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fuzz {

/// Defined by each target. It returns whatever the bytes are, and keeps no state between calls.
void target(std::string_view input);

/// Ends the process when a property does not hold; what runs the target then shows the input.
void require(bool holds, const char* property);

/// Takes decisions from the front of the bytes. What is missing is zero or empty.
class Input {
public:
    explicit Input(std::string_view bytes)
        : m_rest(bytes) { }

    bool isEmpty() const { return m_rest.empty(); }
    unsigned takeByte() {
        const std::string_view byte = takeText(1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
    }
    std::string_view takeText(std::size_t length) {
        const std::string_view text = m_rest.substr(0, length);
        m_rest.remove_prefix(text.size());
        return text;
    }
    /// The text up to a separator, which is dropped.
    std::string_view takeUntil(char separator) {
        const std::string_view text = takeText(m_rest.find(separator));
        takeText(1);
        return text;
    }
    std::string_view takeRest() { return takeText(m_rest.size()); }

private:
    std::string_view m_rest;
};

} // namespace fuzz
