// SPDX-License-Identifier: MIT
#ifndef QUILLET_LIBC_UNISTD
#define QUILLET_LIBC_UNISTD
#include_next <unistd.h>
extern "C" char* mkdtemp(char* pattern) noexcept;
#endif
