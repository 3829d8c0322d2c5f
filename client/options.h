// Command-line options bound to the fields of a request's record.
#pragma once

#include "checks.h"

#include <q7net/protocol.h>

#include <functional>
#include <string>
#include <vector>

using Texts = std::vector<std::string>;

// A word that stands for a number in a record.
struct Word {
    const char *text;
    int number;
};

struct Option {
    std::string name;       // "--mac", "-v,--verbose"; an argument's is in capitals
    std::string value_name; // empty for a flag
    std::string description;
    std::function<void(const Texts &)> take;
    size_t words = 1; // of each value
    size_t most = 1;  // values
    bool is_required = false;
    Texts needed = {};
    Texts excluded = {};
    Texts given = {};

    bool is_argument() const { return name[0] != '-'; }
    bool is_called(const std::string &word) const; // by one of its names
    bool is_full() const { return given.size() >= words * most; }
    Option &required();
    Option &needs(const std::string &option);
    Option &excludes(const std::string &option);
};

// The options of a command line: those that every command takes, and behind them those of its command. An option's usage
// is an argument's name ("IFNAME"), or an option's and its value's ("--mac MAC").
class CommandLine
{
  public:
    Option &value(const std::string &usage, const std::string &description,
                  const std::function<void(const std::string &)> &take, Check check = any_text);
    // Up to so many values, each of so many words.
    Option &values(const std::string &usage, const std::string &description, size_t words, size_t most,
                   const std::function<void(const Texts &)> &take);
    // An interface that the frame names by its index: looked up, or "all" (-1).
    Option &interface_index(const std::string &usage, int32_t &field, const std::string &description);

    bool has(const std::string &option) const;                                    // whether it was given
    void finally(const std::function<void()> &consider) { consider_ = consider; } // when all options are taken
    // Throws when one of these options was given though it will not be looked at: whoever gives it expects something.
    void no_use(const Texts &options, bool ignored, const std::string &why) const;

    template <size_t N>
    Option &text(const std::string &usage, char (&field)[N], const std::string &description, Check check = any_text,
                 size_t longest = N - 1)
    {
        return bytes(usage, field, N, description, check, longest);
    }

    // An interface's name, of as many characters as one has; always wanted.
    template <size_t N>
    Option &ifname(char (&field)[N], const std::string &description = "interface", const std::string &usage = "IFNAME")
    {
        return text(usage, field, description, any_text, RD_IFNAME_SIZE - 1).required();
    }

    // A list of texts, each in a field of its own. count, if any, is told of their number.
    template <size_t N, size_t M>
    Option &texts(const std::string &usage, char (&fields)[M][N], const std::string &description,
                  Check check = any_text, int32_t *count = nullptr)
    {
        return rows(usage, fields[0], N, M, description, check, count);
    }

    template <typename Number>
    Option &number(const std::string &usage, Number &field, int64_t low, int64_t high, const std::string &description)
    {
        return integer(usage, &field, sizeof field, low, high, description);
    }

    // One of several words; usage is the option's name alone.
    template <typename Number, size_t N>
    Option &choice(const std::string &name, Number &field, const Word (&words)[N], const std::string &description)
    {
        return word(name, &field, sizeof field, {words, words + N}, description);
    }

    template <typename Number>
    Option &flag(const std::string &name, Number &field, const std::string &description)
    {
        return on(name, &field, sizeof field, description);
    }

    // Parses the words of a command line. choose is called with the first that is no option, the command, and adds its
    // options. Returns false when help is asked for, which leaves the rest unchecked.
    bool parse(const Texts &words, const std::function<void(const std::string &)> &choose);

    const std::vector<Option> &options() const { return options_; }

  private:
    Option &bytes(const std::string &usage, char *field, size_t size, const std::string &description, Check check,
                  size_t longest);
    Option &rows(const std::string &usage, char *fields, size_t size, size_t count, const std::string &description,
                 Check check, int32_t *taken);
    Option &integer(const std::string &usage, void *field, size_t size, int64_t low, int64_t high,
                    const std::string &description);
    Option &word(const std::string &name, void *field, size_t size, const std::vector<Word> &words,
                 const std::string &description);
    Option &on(const std::string &name, void *field, size_t size, const std::string &description);
    Option &find(const std::string &name);
    size_t take_option(const Texts &words, size_t at);
    void take_argument(const std::string &word);
    void take_all() const;

    std::vector<Option> options_;
    std::function<void()> consider_ = [] {};
};
