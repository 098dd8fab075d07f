// SPDX-License-Identifier: MIT
#pragma once

/// 0 to 9, in UTF-8 or UTF-16; the digits of other scripts are none.
template <typename Unit>
constexpr bool isDigit(Unit unit) {
    return unit >= Unit{'0'} && unit <= Unit{'9'};
}
