// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

/// Names the tests of a table after the `name` of its cases.
template <typename Case>
std::string nameOfCase(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}
