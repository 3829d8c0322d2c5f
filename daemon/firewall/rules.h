// iptables rules that are changed check-first, so that none is added twice or deleted when absent.
#pragma once

#include "base/line.h"

// A line of iptables(8) whose first place is the action; its further places take the first of so many values.
template <size_t Values>
struct Rule {
    std::span<const char *const> words;

    template <size_t Places>
    consteval Rule(Line<Places> line) : words(line.words) // NOLINT(google-explicit-constructor): for lists of them
    {
        static_assert(Places >= 1 && Places <= Values + 1, "an action, and no more places than values");
    }
    template <typename... Texts>
    int run(const char *action, Texts... values) const
    {
        static_assert(sizeof...(values) == Values, "all values");
        const char *const list[] = {action, values...};
        return rd_run_words(words, list, 1, 1);
    }
};

// Whether a rule is there. A check that could not be made at all counts as 'absent'. An addition that follows meets the same
// trouble, and a rule that stands twice is a smaller harm than one that is missing.
template <size_t Values, typename... Texts>
bool rd_rule_exists(const Rule<Values> &rule, Texts... values)
{
    return rule.run("-C", values...) == 0;
}

// Adds a rule or deletes it. Returns the wait status of iptables.
template <size_t Values, typename... Texts>
int rd_change_rule(const Rule<Values> &rule, bool add, Texts... values)
{
    return rule.run(add ? "-A" : "-D", values...);
}
