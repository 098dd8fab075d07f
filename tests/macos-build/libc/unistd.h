// SPDX-License-Identifier: MIT
#ifndef QUILLET_LIBC_UNISTD
#define QUILLET_LIBC_UNISTD
#include_next <unistd.h>
#pragma push_macro("mkdtemp") // <stdlib.h> may be under way
#undef mkdtemp
extern "C" char* mkdtemp(char* pattern) noexcept;
#pragma pop_macro("mkdtemp")
#endif
