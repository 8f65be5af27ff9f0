// Wide-character functions of the platform's runtime. Those whose names the C library has too are
// overloads for WCHAR with symbols of their own on Linux, so neither side replaces the other.
#pragma once

#include <cstdarg>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

#include "platform/Types.h"

// The C library's headers come first on purpose: std:: then holds its functions alone, and C++
// library code that takes their addresses stays unambiguous.

#define CE_QUOTED(text) #text
#define CE_SYMBOL_TEXT(prefix, name) CE_QUOTED(prefix) #name
#define CE_SYMBOL_OF(prefix, name) CE_SYMBOL_TEXT(prefix, name)
#if defined(__linux__)
#define CE_SYMBOL(name) __asm__("ce_" #name)
#else
#define CE_SYMBOL(name) __asm__(CE_SYMBOL_OF(__USER_LABEL_PREFIX__, name))
#endif

// Classes of iswctype. Macros, because C libraries of the same family define them so, with the same
// values.
#ifndef _UPPER
#define _UPPER 0x1
#define _LOWER 0x2
#define _DIGIT 0x4
#define _SPACE 0x8
#define _PUNCT 0x10
#define _CONTROL 0x20
#define _BLANK 0x40
#define _HEX 0x80
#define _ALPHA (0x0100 | _UPPER | _LOWER)
#endif

#if defined(__linux__)
#pragma GCC visibility push(default)
#endif

// Text of a number in radix 2..36, lower-case; a minus sign only in radix 10, else the value counts
// as unsigned. 33 characters and the terminator always suffice. Returns `buffer`.
WCHAR* CEAPI _itow(INT value, WCHAR* buffer, INT radix) CE_SYMBOL(_itow);
WCHAR* CEAPI _ltow(LONG value, WCHAR* buffer, INT radix) CE_SYMBOL(_ltow);

// White space, one sign, decimal digits; 0 when there are none. Wraps modulo 2^32.
LONG CEAPI _wtol(const WCHAR* text) CE_SYMBOL(_wtol);

// White space, sign, digits with ".", exponent after e, E, d or D; no hexadecimal, infinity or NaN.
// *end (may be NULL) is behind the last character used, `text` when there is no number. Too large:
// infinity of that sign; too small: 0.
double CEAPI wcstod(const WCHAR* text, WCHAR** end) CE_SYMBOL(wcstod);

// First `c`, the terminator included. NULL when there is none.
const WCHAR* CEAPI wcschr(const WCHAR* text, WCHAR c) CE_SYMBOL(wcschr);
WCHAR* CEAPI wcschr(WCHAR* text, WCHAR c) CE_SYMBOL(wcschr);

// First character that is one of `set`, the terminator never. NULL when there is none.
const WCHAR* CEAPI wcspbrk(const WCHAR* text, const WCHAR* set) CE_SYMBOL(wcspbrk);
WCHAR* CEAPI wcspbrk(WCHAR* text, const WCHAR* set) CE_SYMBOL(wcspbrk);

// First occurrence of `part`; `text` itself for an empty one. NULL when there is none.
const WCHAR* CEAPI wcsstr(const WCHAR* text, const WCHAR* part) CE_SYMBOL(wcsstr);
WCHAR* CEAPI wcsstr(WCHAR* text, const WCHAR* part) CE_SYMBOL(wcsstr);

// Copies at most `count` characters and fills up to `count` with zeros; no terminator when `source`
// has `count` or more.
WCHAR* CEAPI wcsncpy(WCHAR* target, const WCHAR* source, size_t count) CE_SYMBOL(wcsncpy);

// Not 0 when `c` belongs to one of the classes. One function; int is how the class macros arrive.
INT CEAPI iswctype(WCHAR c, WORD classes) CE_SYMBOL(iswctype);
INT CEAPI iswctype(WCHAR c, int classes) CE_SYMBOL(iswctype);

// Wide printf: %s %ls %ws take wide texts, %S %hs narrow ones, %c %C alike; %d %i %u %x %X %o and
// with l have 32 bits, with h 16, with I64 64; %e %f %g take a double; %p is 8 upper-case hex
// digits; NULL prints "(null)". `count` counts characters. Returns the characters stored; negative
// when more are needed (then `count` are stored); a terminator is stored only when there is room
// for it.
INT CEAPI _snwprintf(WCHAR* buffer, size_t count, const WCHAR* format, ...) CE_SYMBOL(_snwprintf);
INT CEAPI _vsnwprintf(WCHAR* buffer, size_t count, const WCHAR* format, va_list args)
    CE_SYMBOL(_vsnwprintf);

#if defined(__linux__)
#pragma GCC visibility pop
#endif

CE_FUNCTIONS_BEGIN

// Below, equal to or above 0, by code units. NULL is below every text.
INT CEAPI lstrcmpW(LPCWSTR first, LPCWSTR second);

CE_FUNCTIONS_END
