// SPDX-License-Identifier: MIT
// The functions of a locale that macOS has and the C library here has not. Declared alone: they are
// called inside the C++ library.
#ifndef QUILLET_LIBC_XLOCALE
#define QUILLET_LIBC_XLOCALE
#include <ctype.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>
#undef isdigit_l // macros that take no number for a locale
#undef isxdigit_l

extern "C" {
int asprintf_l(char** text, locale_t locale, const char* format, ...);
int snprintf_l(char* text, size_t size, locale_t locale, const char* format, ...);
int sscanf_l(const char* text, locale_t locale, const char* format, ...);
lconv* localeconv_l(locale_t locale);
wint_t btowc_l(int byte, locale_t locale);
int wctob_l(wint_t letter, locale_t locale);
int mbtowc_l(wchar_t* letter, const char* bytes, size_t size, locale_t locale);
size_t mbrlen_l(const char* bytes, size_t size, mbstate_t* state, locale_t locale);
size_t mbrtowc_l(
    wchar_t* letter, const char* bytes, size_t size, mbstate_t* state, locale_t locale);
size_t mbsrtowcs_l(
    wchar_t* letters, const char** bytes, size_t count, mbstate_t* state, locale_t locale);
size_t mbsnrtowcs_l(wchar_t* letters, const char** bytes, size_t size, size_t count,
    mbstate_t* state, locale_t locale);
size_t wcrtomb_l(char* bytes, wchar_t letter, mbstate_t* state, locale_t locale);
size_t wcsnrtombs_l(char* bytes, const wchar_t** letters, size_t count, size_t size,
    mbstate_t* state, locale_t locale);
}
#endif
