// SPDX-License-Identifier: MIT
// On macOS the integers of 64 bits are long long.
#ifndef QUILLET_LIBC_INT
#define QUILLET_LIBC_INT
typedef signed char int8_t;
typedef short int16_t;
typedef int int32_t;
typedef long long int64_t;
#endif
