// SPDX-License-Identifier: MIT
// On macOS the integers of 64 bits are long long.
#ifndef QUILLET_LIBC_UINT
#define QUILLET_LIBC_UINT
typedef unsigned char uint8_t;
typedef unsigned short uint16_t;
typedef unsigned int uint32_t;
typedef unsigned long long uint64_t;
#endif
