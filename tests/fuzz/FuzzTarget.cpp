// SPDX-License-Identifier: MIT
#include "tests/fuzz/FuzzTarget.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// The entry point by which libFuzzer knows a target.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::target({reinterpret_cast<const char*>(data), size});
    return 0;
}

void fuzz::require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}
