// Command-line options bound to the fields of a request's record. What a field cannot hold is an error of usage, told
// before anything is sent: a text is never cut and a number never wraps. CLI11 is not included here, for its header takes
// seconds to compile.
#pragma once

#include <q7net/protocol.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

// Checks of a value: an empty text when it is good, else what is wrong with it.
using Check = std::string (*)(const std::string &value);
std::string any_text(const std::string &value);
std::string mac_address(const std::string &value); // six pairs of hexadecimal digits
std::string ipv4_address(const std::string &value);
std::string ipv4_address_or_none(const std::string &value); // "none" stands for no value
std::string ipv6_address(const std::string &value);
std::string ip_address(const std::string &value);

// These throw errors of usage: of an option's value, of options together, and, unless something was given, of its absence.
[[noreturn]] void refuse(const std::string &option, const std::string &why);
[[noreturn]] void refuse(const std::string &why);
void require(bool given, const std::string &what);

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

// Decimal digits and nothing else. Throws when the number is out of its range.
int64_t decimal(const std::string &option, const std::string &value, int64_t low, int64_t high);

// ADDRESS/LENGTH in its two parts. Throws when either is bad.
struct Prefix {
    std::string address;
    int length;
    bool ipv6;
};
Prefix split_prefix(const std::string &option, const std::string &value);

// An option that was added.
class Option
{
  public:
    explicit Option(CLI::Option *option) : option_(option) {}
    Option required() const;
    Option needs(const std::string &name) const;
    Option excludes(const std::string &name) const;

  private:
    CLI::Option *option_;
};

using Words = std::vector<std::pair<std::string, int>>;

// The options of a command. An option's usage is a positional's name ("IFNAME"), or an option's and its value's
// ("--mac MAC").
class CommandLine
{
  public:
    explicit CommandLine(CLI::App *app) : app_(app) {}

    Option value(const std::string &usage, const std::string &description,
                 const std::function<void(const std::string &)> &take, Check check = any_text) const;
    // Up to so many values, each of so many words.
    Option values(const std::string &usage, const std::string &description, int words, int most,
                  const std::function<void(const std::vector<std::string> &)> &take, Check check = any_text) const;
    // An interface that the frame names by its index: looked up, or "all" (-1).
    Option interface_index(const std::string &usage, int32_t &field, const std::string &description) const;

    bool has(const std::string &option) const;                 // whether it was given
    void finally(const std::function<void()> &consider) const; // when all options are parsed
    // Throws when one of these options was given though it will not be looked at: whoever gives it expects something.
    void no_use(const std::vector<std::string> &options, bool ignored, const std::string &why) const;

    template <size_t N>
    Option text(const std::string &usage, char (&field)[N], const std::string &description, Check check = any_text,
                size_t longest = N - 1) const
    {
        return value(
            usage, description,
            [usage, &field, longest](const std::string &given) { put(usage, field, given, longest); }, check);
    }

    // An interface's name, of as many characters as one has; always wanted.
    template <size_t N>
    Option ifname(char (&field)[N], const std::string &description = "interface",
                  const std::string &usage = "IFNAME") const
    {
        return text(usage, field, description, any_text, RD_IFNAME_SIZE - 1).required();
    }

    // A list of texts, each in a field of its own. count, if any, is told of their number.
    template <size_t N, size_t M>
    Option texts(const std::string &usage, char (&fields)[M][N], const std::string &description, Check check = any_text,
                 const std::function<void(size_t)> &count = nullptr) const
    {
        const auto take = [usage, &fields, count](const std::vector<std::string> &given) {
            for (size_t i = 0; i < given.size(); i++) {
                put(usage, fields[i], given[i]);
            }
            if (count) {
                count(given.size());
            }
        };
        return values(usage, description, 1, M, take, check);
    }

    template <typename Number>
    Option number(const std::string &usage, Number &field, int64_t low, int64_t high,
                  const std::string &description) const
    {
        return value(usage, description + " (" + std::to_string(low) + " to " + std::to_string(high) + ")",
                     [usage, &field, low, high](const std::string &given) {
                         field = static_cast<Number>(decimal(usage, given, low, high));
                     });
    }

    // One of several words; usage is the option's name alone.
    template <typename Number>
    Option choice(const std::string &name, Number &field, const Words &words, const std::string &description) const
    {
        return word(name, words, description, [&field](int number) { field = static_cast<Number>(number); });
    }

    template <typename Number>
    Option flag(const std::string &name, Number &field, const std::string &description) const
    {
        return on(name, description, [&field] { field = 1; });
    }

  private:
    Option word(const std::string &name, const Words &words, const std::string &description,
                const std::function<void(int)> &take) const;
    Option on(const std::string &name, const std::string &description, const std::function<void()> &set) const;

    CLI::App *app_;
};
