// Command-line options bound to the fields of a request's record. What a field cannot hold is an error of usage, told
// before anything is sent: a text is never cut and a number never wraps.
#pragma once

#include "core/protocol.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

// Checks of a value: an empty text when it is good, else what is wrong with it.
using Check = std::string (*)(const std::string &value);
std::string any_text(const std::string &value);
std::string mac_address(const std::string &value); // six pairs of hexadecimal digits
std::string ipv4_address(const std::string &value);
std::string ipv4_address_or_none(const std::string &value); // "none" stands for no value
std::string ipv6_address(const std::string &value);
std::string ip_address(const std::string &value);

[[noreturn]] void refuse(const std::string &option, const std::string &why);

// Adds an option. Its usage is a positional's name ("IFNAME"), or an option's and its value's ("--mac MAC").
CLI::Option *add(CLI::App &command, const std::string &usage, const std::string &description,
                 const std::function<void(const std::string &)> &take);

// Copies a text into its field. Throws when it does not fit with its NUL, or is longer than the daemon looks at.
template <size_t N>
void put(const std::string &option, char (&field)[N], const std::string &value, size_t longest = N - 1)
{
    if (value.empty()) {
        refuse(option, "is empty");
    }
    if (value.size() > longest) {
        refuse(option, "'" + value + "' is longer than " + std::to_string(longest) + " characters");
    }
    std::fill(value.copy(field, N - 1) + field, field + N, '\0');
}

template <size_t N>
CLI::Option *text(CLI::App &command, const std::string &usage, char (&field)[N], const std::string &description,
                  Check check = any_text, size_t longest = N - 1)
{
    return add(command, usage, description,
               [usage, &field, longest](const std::string &value) { put(usage, field, value, longest); })
        ->check(check);
}

// A list of texts, each in a field of its own.
template <size_t N, size_t M>
CLI::Option *texts(CLI::App &command, const std::string &usage, char (&fields)[M][N], const std::string &description,
                   Check check = any_text, const std::function<void(size_t)> &count = nullptr)
{
    const size_t space = usage.find(' ');
    const auto take = [usage, &fields, count](const std::vector<std::string> &values) {
        for (size_t i = 0; i < values.size(); i++) {
            put(usage, fields[i], values[i]);
        }
        if (count) {
            count(values.size());
        }
    };
    return command.add_option_function<std::vector<std::string>>(usage.substr(0, space), take, description)
        ->option_text(space == std::string::npos ? " " : usage.substr(space + 1) + " ...")
        ->expected(1, M)
        ->check(check);
}

// Decimal digits and nothing else. Throws when the number is out of its range.
int64_t decimal(const std::string &option, const std::string &value, int64_t low, int64_t high);

template <typename Number>
CLI::Option *number(CLI::App &command, const std::string &usage, Number &field, int64_t low, int64_t high,
                    const std::string &description)
{
    return add(command, usage, description + " (" + std::to_string(low) + " to " + std::to_string(high) + ")",
               [usage, &field, low, high](const std::string &value) {
                   field = static_cast<Number>(decimal(usage, value, low, high));
               });
}

// One of several words; usage is the option's name alone. after, if any, is called when it was given.
template <typename Number>
CLI::Option *choice(CLI::App &command, const std::string &name, Number &field,
                    const std::vector<std::pair<std::string, int>> &words, const std::string &description,
                    const std::function<void()> &after = nullptr)
{
    std::string list;
    for (const auto &[word, value] : words) {
        list += (list.empty() ? "{" : ",") + word;
    }
    list += "}";
    const auto take = [name, list, words, &field, after](const std::string &given) {
        const auto word =
            std::find_if(words.begin(), words.end(), [&](const auto &each) { return each.first == given; });
        if (word == words.end()) {
            refuse(name, "'" + given + "' is not one of " + list);
        }
        field = static_cast<Number>(word->second);
        if (after) {
            after();
        }
    };
    return add(command, name + " " + list, description, take);
}

template <typename Number>
CLI::Option *flag(CLI::App &command, const std::string &name, Number &field, const std::string &description)
{
    return command
        .add_flag_function(
            name, [&field](int64_t) { field = 1; }, description)
        ->disable_flag_override(); // "--macsec=false" would count as given
}

// An interface that the frame names by its index: looked up, or "all" (-1).
CLI::Option *interface_index(CLI::App &command, const std::string &usage, int32_t &field,
                             const std::string &description);

// ADDRESS/LENGTH in its two parts. Throws when either is bad.
struct Prefix {
    std::string address;
    int length;
    bool ipv6;
};
Prefix split_prefix(const std::string &option, const std::string &value);
