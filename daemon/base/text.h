#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

// Formats into a buffer of fixed size. What does not fit is cut, which is meant: the widths of names and
// numbers are part of what the daemon promises. Taking the arguments as a va_list is what keeps the compiler,
// which warns about truncation it can foresee, silent about that.
//   format, ...  as for printf(3)
// Returns the length that the whole text has or would have had.
template <size_t N>
[[gnu::format(printf, 2, 3)]] int rd_format(char (&buffer)[N], const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(buffer, N, format, args);
    va_end(args);
    return length;
}

// Cuts texts of a request that no validator looks at to their fields' widths less one, so that none runs on into its
// neighbour.
template <size_t... N>
void rd_cut(char (&...fields)[N])
{
    ((fields[N - 1] = '\0'), ...);
}
