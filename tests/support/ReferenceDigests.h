// SPDX-License-Identifier: MIT
// SHA-1 and SHA-256 straight from FIPS 180-4, for tests on any system. Slow.
#pragma once

#include "platform/Types.h"

#include <array>

std::array<std::uint8_t, 20> referenceSha1(BytesView data);
std::array<std::uint8_t, 32> referenceSha256(BytesView data);
