#include "checks.h"

#include <charconv>
#include <cstring>

#include <arpa/inet.h>

std::string any_text(const std::string & /*value*/)
{
    return {};
}

std::string mac_address(const std::string &value)
{
    constexpr const char *kForm = "hh:hh:hh:hh:hh:hh";
    bool good = value.size() == strlen(kForm);
    for (size_t i = 0; good && kForm[i] != '\0'; i++) {
        const bool digit = strchr("0123456789abcdefABCDEF", value[i]) != nullptr;
        good = kForm[i] == ':' ? value[i] == ':' : digit;
    }
    return good ? "" : "'" + value + "' is no MAC address";
}

static bool is_address(int family, const std::string &value)
{
    in6_addr binary;
    return inet_pton(family, value.c_str(), &binary) == 1;
}

std::string ipv4_address(const std::string &value)
{
    return is_address(AF_INET, value) ? "" : "'" + value + "' is no IPv4 address";
}

std::string ipv4_address_or_none(const std::string &value)
{
    return value == "none" ? "" : ipv4_address(value);
}

std::string ipv6_address(const std::string &value)
{
    return is_address(AF_INET6, value) ? "" : "'" + value + "' is no IPv6 address";
}

std::string ip_address(const std::string &value)
{
    return is_address(AF_INET, value) || is_address(AF_INET6, value) ? "" : "'" + value + "' is no IP address";
}

void refuse(const std::string &option, const std::string &why)
{
    throw UsageError{option.substr(0, option.find(' ')) + ": " + why};
}

void refuse(const std::string &why)
{
    throw UsageError{why};
}

void require(bool given, const std::string &what)
{
    if (!given) {
        throw UsageError{what + " is required"};
    }
}

void put(const std::string &option, char *field, size_t size, const std::string &value, size_t longest)
{
    if (value.empty()) {
        refuse(option, "is empty");
    }
    if (value.size() > longest) {
        refuse(option, "'" + value + "' is longer than " + std::to_string(longest) + " characters");
    }
    memset(field, 0, size);
    value.copy(field, size - 1);
}

int64_t decimal(const std::string &option, const std::string &value, int64_t low, int64_t high)
{
    int64_t number = 0;
    const char *const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc() || stop != end || number < low || number > high) {
        refuse(option, "'" + value + "' is no number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return number;
}

Prefix split_prefix(const std::string &option, const std::string &value)
{
    const size_t slash = value.find('/');
    Prefix prefix{value.substr(0, slash), -1, false};
    prefix.ipv6 = is_address(AF_INET6, prefix.address);
    if (!prefix.ipv6 && !is_address(AF_INET, prefix.address)) {
        refuse(option, "'" + prefix.address + "' is no IP address");
    }
    if (slash == std::string::npos) {
        refuse(option, "'" + value + "' needs its prefix length, ADDRESS/LENGTH");
    }
    prefix.length = static_cast<int>(decimal(option, value.substr(slash + 1), 0, prefix.ipv6 ? 128 : 32));
    return prefix;
}
