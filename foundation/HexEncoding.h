// SPDX-License-Identifier: MIT
// Bytes as hexadecimal text, two digits a byte.
#pragma once

#include "foundation/Bytes.h"

#include <initializer_list>
#include <string>

/// A set of bit flags.
struct HexEncodingOptions {
    std::intptr_t rawValue = 0;

    constexpr HexEncodingOptions() = default;
    constexpr explicit HexEncodingOptions(std::intptr_t raw)
        : rawValue(raw) { }
    constexpr HexEncodingOptions(std::initializer_list<HexEncodingOptions> options) {
        for (const HexEncodingOptions& option : options) {
            rawValue |= option.rawValue;
        }
    }

    static const HexEncodingOptions upperCase;

    constexpr bool isEmpty() const { return rawValue == 0; }
    constexpr bool contains(HexEncodingOptions other) const { return other.isSubset(*this); }
    constexpr bool isSubset(HexEncodingOptions other) const {
        return (rawValue & ~other.rawValue) == 0;
    }
    constexpr bool isSuperset(HexEncodingOptions other) const { return other.isSubset(*this); }
    constexpr bool isDisjoint(HexEncodingOptions other) const {
        return (rawValue & other.rawValue) == 0;
    }
    constexpr HexEncodingOptions unionWith(HexEncodingOptions other) const {
        return HexEncodingOptions(rawValue | other.rawValue);
    }
    constexpr HexEncodingOptions intersection(HexEncodingOptions other) const {
        return HexEncodingOptions(rawValue & other.rawValue);
    }
    constexpr HexEncodingOptions symmetricDifference(HexEncodingOptions other) const {
        return HexEncodingOptions(rawValue ^ other.rawValue);
    }
    constexpr HexEncodingOptions subtracting(HexEncodingOptions other) const {
        return HexEncodingOptions(rawValue & ~other.rawValue);
    }
    /// Whether the option was not in the set before.
    constexpr bool insert(HexEncodingOptions option) {
        const bool inserted = !contains(option);
        rawValue |= option.rawValue;
        return inserted;
    }
    /// What of the option was in the set before.
    constexpr HexEncodingOptions remove(HexEncodingOptions option) {
        const HexEncodingOptions removed = intersection(option);
        rawValue &= ~option.rawValue;
        return removed;
    }
    /// Puts the option into the set; what of it was there before.
    constexpr HexEncodingOptions update(HexEncodingOptions option) {
        const HexEncodingOptions replaced = intersection(option);
        rawValue |= option.rawValue;
        return replaced;
    }
    friend constexpr bool operator==(HexEncodingOptions, HexEncodingOptions) = default;
};

inline constexpr HexEncodingOptions HexEncodingOptions::upperCase{std::intptr_t{1}};

std::string hexEncodedString(BytesView data, HexEncodingOptions options = {});
