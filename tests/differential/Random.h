// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace differential {

/// The same choices for the same seed, with every standard library.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_engine(seed) { }

    /// A number from 0 to `count` - 1.
    std::size_t below(std::size_t count) { return static_cast<std::size_t>(m_engine() % count); }
    bool chance(std::size_t percent) { return below(100) < percent; }

    template <typename T>
    T pick(const std::vector<T>& values) {
        return values[below(values.size())];
    }

    /// Up to `longest` of the pieces, one after the other.
    std::string text(std::size_t longest, const std::vector<std::string>& pieces) {
        std::string made;
        for (std::size_t count = below(longest + 1); count > 0; --count) {
            made += pick(pieces);
        }
        return made;
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace differential
