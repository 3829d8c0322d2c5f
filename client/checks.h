// Checks of what is typed. What a field cannot hold is an error of usage, told before anything is sent: a text is never
// cut and a number never wraps.
#pragma once

#include <cstdint>
#include <string>

struct UsageError {
    std::string text;
};

// These throw errors of usage: of an option's value, of options together, and, unless something was given, of its absence.
[[noreturn]] void refuse(const std::string &option, const std::string &why);
[[noreturn]] void refuse(const std::string &why);
void require(bool given, const std::string &what);

// Checks of a value: an empty text when it is good, else what is wrong with it.
using Check = std::string (*)(const std::string &value);
std::string any_text(const std::string &value);
std::string mac_address(const std::string &value); // six pairs of hexadecimal digits
std::string ipv4_address(const std::string &value);
std::string ipv4_address_or_none(const std::string &value); // "none" stands for no value
std::string ipv6_address(const std::string &value);
std::string ip_address(const std::string &value);

// Copies a text into a field of so many bytes. Throws when it is empty or longer than the daemon looks at.
void put(const std::string &option, char *field, size_t size, const std::string &value, size_t longest);
template <size_t N>
void put(const std::string &option, char (&field)[N], const std::string &value)
{
    put(option, field, N, value, N - 1);
}

// Decimal digits and nothing else. Throws when the number is out of its range.
int64_t decimal(const std::string &option, const std::string &value, int64_t low, int64_t high);

// ADDRESS/LENGTH in its two parts. Throws when either is bad.
struct Prefix {
    std::string address;
    int length;
    bool ipv6;
};
Prefix split_prefix(const std::string &option, const std::string &value);
