// SPDX-License-Identifier: MIT
// The comparison of versions is an order. Input: three texts, one a line.
#include "foundation/NumericCompare.h"
#include "tests/fuzz/FuzzTarget.h"

#include <array>

using fuzz::require;

void fuzz::target(std::string_view bytes) {
    Input input(bytes);
    const std::string_view a = input.takeUntil('\n');
    const std::string_view b = input.takeUntil('\n');
    const std::array texts{a, b, input.takeRest()};
    std::array<std::array<int, 3>, 3> orders{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (std::size_t j = 0; j < texts.size(); ++j) {
            orders[i][j] = static_cast<int>(numericCompare(texts[i], texts[j]));
        }
    }
    const auto order = [&](std::size_t left, std::size_t right) { return orders[left][right]; };
    for (std::size_t i = 0; i < texts.size(); ++i) {
        require(order(i, i) == 0, "a text equals itself");
        for (std::size_t j = 0; j < texts.size(); ++j) {
            require(order(i, j) == -order(j, i), "exchanged texts compare the other way");
            for (std::size_t k = 0; k < texts.size(); ++k) {
                if (order(i, j) <= 0 && order(j, k) <= 0) {
                    const bool equal = order(i, j) == 0 && order(j, k) == 0;
                    require(equal ? order(i, k) == 0 : order(i, k) < 0, "the order is transitive");
                }
            }
        }
    }
}
