// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Tells an administrator on standard output which policy is in force, and what is wrong with it.
class ZqPolicyReport {
public:
    /// The first argument of a program that is to report and do nothing else.
    static constexpr std::string_view argument = "policy";

    /// The exit status: 1 when there is a policy that cannot be used.
    static int print();
};
