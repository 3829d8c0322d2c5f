#include "options.h"

#include <charconv>

#include <arpa/inet.h>
#include <net/if.h>

std::string any_text(const std::string & /*value*/)
{
    return {};
}

std::string mac_address(const std::string &value)
{
    const std::string form = "hh:hh:hh:hh:hh:hh";
    bool good = value.size() == form.size();
    for (size_t i = 0; good && i < form.size(); i++) {
        const bool digit = std::string("0123456789abcdefABCDEF").find(value[i]) != std::string::npos;
        good = form[i] == ':' ? value[i] == ':' : digit;
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
    throw CLI::ValidationError(option.substr(0, option.find(' ')), why);
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

CLI::Option *add(CLI::App &command, const std::string &usage, const std::string &description,
                 const std::function<void(const std::string &)> &take)
{
    const size_t space = usage.find(' ');
    const std::string name = usage.substr(0, space);
    return command.add_option_function<std::string>(name, take, description)
        ->option_text(space == std::string::npos ? " " : usage.substr(space + 1));
}

CLI::Option *interface_index(CLI::App &command, const std::string &usage, int32_t &field,
                             const std::string &description)
{
    return add(command, usage, description, [usage, &field](const std::string &name) {
        if (name == "all") {
            field = -1;
            return;
        }
        field = static_cast<int32_t>(if_nametoindex(name.c_str()));
        if (field == 0) {
            refuse(usage, "no interface '" + name + "' here");
        }
    });
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
