#include "options.h"

#include "words.h"

#include <algorithm>
#include <cstring>

#include <net/if.h>

Option &Option::required()
{
    is_required = true;
    return *this;
}

Option &Option::needs(const std::string &option)
{
    needed.push_back(option);
    return *this;
}

Option &Option::excludes(const std::string &option)
{
    excluded.push_back(option);
    return *this;
}

bool Option::is_called(const std::string &word) const
{
    const size_t comma = name.find(',');
    return word == name ||
           (comma != std::string::npos && (word == name.substr(0, comma) || word == name.substr(comma + 1)));
}

// The fields are numbers of the machine, of 1 or 4 bytes.
static void store(void *field, size_t size, int64_t number)
{
    const auto whole = static_cast<uint32_t>(number);
    const auto byte = static_cast<uint8_t>(number);
    size == sizeof whole ? memcpy(field, &whole, size) : memcpy(field, &byte, 1);
}

Option &CommandLine::values(const std::string &usage, const std::string &description, size_t words, size_t most,
                            const std::function<void(const Texts &)> &take)
{
    const size_t space = std::min(usage.find(' '), usage.size());
    std::string value_name = usage.substr(std::min(space + 1, usage.size()));
    if (value_name.empty()) { // an argument's value has its name
        value_name = usage;
    }
    options_.push_back({usage.substr(0, space), value_name, description, take, words, most});
    return options_.back();
}

Option &CommandLine::value(const std::string &usage, const std::string &description,
                           const std::function<void(const std::string &)> &take, Check check)
{
    return values(usage, description, 1, 1, [usage, take, check](const Texts &given) {
        const std::string problem = check(given[0]);
        problem.empty() ? take(given[0]) : refuse(usage, problem);
    });
}

Option &CommandLine::bytes(const std::string &usage, char *field, size_t size, const std::string &description,
                           Check check, size_t longest)
{
    const auto take = [=](const std::string &given) { put(usage, field, size, given, longest); };
    return value(usage, description, take, check);
}

Option &CommandLine::rows(const std::string &usage, char *fields, size_t size, size_t count,
                          const std::string &description, Check check, int32_t *taken)
{
    return values(usage, description, 1, count, [=](const Texts &given) {
        for (size_t i = 0; i < given.size(); i++) {
            const std::string problem = check(given[i]);
            problem.empty() ? put(usage, fields + i * size, size, given[i], size - 1) : refuse(usage, problem);
        }
        if (taken != nullptr) {
            *taken = static_cast<int32_t>(given.size());
        }
    });
}

Option &CommandLine::integer(const std::string &usage, void *field, size_t size, int64_t low, int64_t high,
                             const std::string &description)
{
    const auto take = [=](const std::string &given) { store(field, size, decimal(usage, given, low, high)); };
    return value(usage, description + " (" + std::to_string(low) + " to " + std::to_string(high) + ")", take);
}

Option &CommandLine::word(const std::string &name, void *field, size_t size, const std::vector<Word> &words,
                          const std::string &description)
{
    std::string list;
    for (const Word &each : words) {
        list += std::string(list.empty() ? "{" : ",") + each.text;
    }
    list += "}";
    return value(name + " " + list, description, [=](const std::string &given) {
        const auto found =
            std::find_if(words.begin(), words.end(), [&](const Word &each) { return given == each.text; });
        if (found == words.end()) {
            refuse(name, "'" + given + "' is not one of " + list);
        }
        store(field, size, found->number);
    });
}

Option &CommandLine::on(const std::string &name, void *field, size_t size, const std::string &description)
{
    Option &option = values(name, description, 1, 1, [=](const Texts &) { store(field, size, 1); });
    option.value_name.clear();
    return option;
}

Option &CommandLine::interface_index(const std::string &usage, int32_t &field, const std::string &description)
{
    return value(usage, description, [usage, &field](const std::string &name) {
        field = name == "all" ? -1 : static_cast<int32_t>(if_nametoindex(name.c_str()));
        if (field == 0) {
            refuse(usage, "no interface '" + name + "' here");
        }
    });
}

bool CommandLine::has(const std::string &option) const
{
    return std::any_of(options_.begin(), options_.end(),
                       [&](const Option &each) { return each.is_called(option) && !each.given.empty(); });
}

void CommandLine::no_use(const Texts &options, bool ignored, const std::string &why) const
{
    for (const std::string &option : options) {
        if (ignored && has(option)) {
            refuse(option, why);
        }
    }
}

Option &CommandLine::find(const std::string &name)
{
    Texts names;
    for (Option &each : options_) {
        if (!each.is_argument() && each.is_called(name)) {
            return each;
        }
        if (!each.is_argument()) {
            const size_t comma = each.name.find(',');
            names.push_back(each.name.substr(comma == std::string::npos ? 0 : comma + 1));
        }
    }
    refuse("unknown option '" + name + "'" + did_you_mean(name, names));
}

// Takes the option that stands there, with its values, which may begin with a hyphen where one must come. Returns where
// the next word stands.
size_t CommandLine::take_option(const Texts &words, size_t at)
{
    const size_t equals = words[at].find('=');
    Option &option = find(words[at].substr(0, equals));
    if (option.is_full()) {
        refuse(option.name, "was given before");
    }
    at++;
    if (option.value_name.empty()) {
        if (equals != std::string::npos) {
            refuse(option.name, "takes no value");
        }
        option.given.emplace_back();
        return at;
    }
    const size_t before = option.given.size();
    if (equals != std::string::npos) {
        option.given.push_back(words[at - 1].substr(equals + 1));
    }
    while (at < words.size() && !option.is_full() &&
           (option.given.size() == before || option.given.size() % option.words != 0 || words[at][0] != '-')) {
        option.given.push_back(words[at++]);
    }
    if (option.given.size() == before || option.given.size() % option.words != 0) {
        refuse(option.name, "needs " + option.value_name);
    }
    return at;
}

void CommandLine::take_argument(const std::string &word)
{
    for (Option &each : options_) {
        if (each.is_argument() && !each.is_full()) {
            each.given.push_back(word);
            return;
        }
    }
    refuse("'" + word + "' is not expected");
}

void CommandLine::take_all() const
{
    for (const Option &each : options_) {
        require(!each.is_required || !each.given.empty(), each.name);
    }
    for (const Option &each : options_) {
        for (const std::string &other : each.needed) {
            if (!each.given.empty() && !has(other)) {
                refuse(each.name + " needs " + other);
            }
        }
        for (const std::string &other : each.excluded) {
            if (!each.given.empty() && has(other)) {
                refuse(each.name + " and " + other + " exclude each other");
            }
        }
    }
    for (const Option &each : options_) {
        if (!each.given.empty()) {
            each.take(each.given);
        }
    }
    consider_();
}

bool CommandLine::parse(const Texts &words, const std::function<void(const std::string &)> &choose)
{
    bool chosen = false;
    bool literal = false; // behind "--"
    bool help = false;
    for (size_t i = 0; i < words.size();) {
        const std::string &word = words[i];
        const bool is_option = !literal && word.size() > 1 && word[0] == '-';
        help = help || (is_option && (word == "-h" || word == "--help"));
        if (!is_option && !chosen) {
            choose(word);
            chosen = true;
            i++;
        } else if (help) {
            i++;
        } else if (word == "--" && !literal) {
            literal = true;
            i++;
        } else if (is_option) {
            i = take_option(words, i);
        } else {
            take_argument(word);
            i++;
        }
    }
    if (!help) {
        take_all();
    }
    return !help;
}
