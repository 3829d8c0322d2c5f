#include "options.h"

#include <algorithm>
#include <charconv>

#include <CLI/CLI.hpp>
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

void refuse(const std::string &why)
{
    throw CLI::ValidationError(why);
}

void require(bool given, const std::string &what)
{
    if (!given) {
        throw CLI::RequiredError(what);
    }
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

Option Option::required() const
{
    option_->required();
    return *this;
}

Option Option::needs(const std::string &name) const
{
    option_->needs(name);
    return *this;
}

Option Option::excludes(const std::string &name) const
{
    option_->excludes(name);
    return *this;
}

// The name of an option, and how its value is called.
static std::pair<std::string, std::string> parts_of(const std::string &usage)
{
    const size_t space = usage.find(' ');
    return {usage.substr(0, space), space == std::string::npos ? " " : usage.substr(space + 1)};
}

Option CommandLine::value(const std::string &usage, const std::string &description,
                          const std::function<void(const std::string &)> &take, Check check) const
{
    const auto [name, value_name] = parts_of(usage);
    return Option(
        app_->add_option_function<std::string>(name, take, description)->option_text(value_name)->check(check));
}

Option CommandLine::values(const std::string &usage, const std::string &description, int words, int most,
                           const std::function<void(const std::vector<std::string> &)> &take, Check check) const
{
    const auto [name, value_name] = parts_of(usage);
    return Option(app_->add_option_function<std::vector<std::string>>(name, take, description)
                      ->option_text(value_name == " " ? value_name : value_name + " ...")
                      ->type_size(words)
                      ->expected(1, most)
                      ->check(check));
}

Option CommandLine::interface_index(const std::string &usage, int32_t &field, const std::string &description) const
{
    return value(usage, description, [usage, &field](const std::string &name) {
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

bool CommandLine::has(const std::string &option) const
{
    return app_->count(option) != 0;
}

void CommandLine::finally(const std::function<void()> &consider) const
{
    app_->callback(consider);
}

void CommandLine::no_use(const std::vector<std::string> &options, bool ignored, const std::string &why) const
{
    for (const std::string &option : options) {
        if (ignored && has(option)) {
            refuse(option, why);
        }
    }
}

Option CommandLine::word(const std::string &name, const Words &words, const std::string &description,
                         const std::function<void(int)> &take) const
{
    std::string list;
    for (const auto &[word, number] : words) {
        list += (list.empty() ? "{" : ",") + word;
    }
    list += "}";
    return value(name + " " + list, description, [name, list, words, take](const std::string &given) {
        const auto word =
            std::find_if(words.begin(), words.end(), [&](const auto &each) { return each.first == given; });
        if (word == words.end()) {
            refuse(name, "'" + given + "' is not one of " + list);
        }
        take(word->second);
    });
}

Option CommandLine::on(const std::string &name, const std::string &description, const std::function<void()> &set) const
{
    return Option(app_->add_flag_function(
                          name, [set](int64_t) { set(); }, description)
                      ->disable_flag_override()); // "--macsec=false" would count as given
}
