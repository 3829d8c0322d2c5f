#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

// Formats into a buffer of fixed size. What does not fit is cut, which is meant: the widths of names and
// numbers are part of what the daemon promises. Taking the arguments as a va_list is what keeps the compiler,
// which warns about truncation it can foresee, silent about that.
//   format, ...  as for printf(3)
template <size_t N>
[[gnu::format(printf, 2, 3)]] void rd_format(char (&buffer)[N], const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(buffer, N, format, args);
    va_end(args);
}
