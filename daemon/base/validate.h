// Checks of the texts in a request before they become arguments of tools or contents of files. Only length and characters
// are looked at, not meaning.
#pragma once

#include "base/log.h"

#include <q7net/protocol.h>

#include <cstring>

// Each takes a NUL-terminated text and returns RD_RC_OK, RD_RC_TOO_LONG, RD_RC_TOO_SHORT (IPv4 only) or RD_RC_INVALID
// for a refused character, in this order of precedence; RD_RC_ABSENT for a null text. All but rd_validate_ipv4 accept an
// empty text. Only ASCII passes. Nothing is logged.

int rd_validate_mac(const char *text);       // hexadecimal digits and ':', at most 18
int rd_validate_ifname(const char *text);    // letters, digits and '.', at most 128
int rd_validate_words(const char *text);     // letters, digits, '.' and ' ', at most 128
int rd_validate_shell_arg(const char *text); // visible characters but & ; < > |, at most 257
int rd_validate_ipv4(const char *text);      // digits and '.', 7 to 16

// The same for a field of a request: a text that fills it without a NUL is too long, whatever it holds, so
// that the check never reads on into the next field.
template <size_t N>
int rd_validate_field(int (*validate)(const char *), const char (&field)[N])
{
    return memchr(field, '\0', N) == nullptr ? int{RD_RC_TOO_LONG} : validate(field);
}

// Logs why a request is refused, as an error of the caller: "ERROR - COMPLAINT\n", with the code behind a complaint that
// ends with '='. Returns the code.
int rd_refuse(int code, const char *complaint, const char *function = __builtin_FUNCTION(),
              int line = __builtin_LINE());

// Checks a field of a request, and logs a refusal as rd_refuse does. Returns 0 or the validator's code.
template <size_t N>
[[nodiscard]] int rd_check(int (*validate)(const char *), const char (&field)[N], const char *complaint,
                           const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    const int code = rd_validate_field(validate, field);
    return code == RD_RC_OK ? code : rd_refuse(code, complaint, function, line);
}

// A name as a part of a path: itself, or for one that no interface can have and that would lead out of its folder (with a
// '/', "." or "..": dev_valid_name of the kernel) a text of which there is no folder.
const char *rd_path_name(const char *name);
