// SPDX-License-Identifier: MIT
// On macOS <stdlib.h> does not declare mkdtemp; <unistd.h> does.
#ifndef QUILLET_LIBC_STDLIB
#define QUILLET_LIBC_STDLIB
#define mkdtemp mkdtemp_is_in_unistd_h
#include_next <stdlib.h>
#undef mkdtemp
#endif
