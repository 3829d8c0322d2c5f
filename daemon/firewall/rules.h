// iptables rules that are changed check-first, so that none is added twice or deleted when absent.
#pragma once

#include "base/line.h"

// A line of iptables(8). Its places are <action> and the first of so many values of <ifname> and <proxy>, in this order.
template <size_t Values>
struct Rule {
    std::span<const char *const> words;

    template <typename... Texts>
    int run(const char *action, Texts... values) const
    {
        static_assert(sizeof...(values) == Values, "all values");
        const char *const list[] = {action, values...};
        return rd_run_words(words, list, 1, 1);
    }
};

template <size_t Values, Typed typed>
consteval Rule<Values> rd_rule()
{
    constexpr bool kGood = [] {
        size_t at = 0;
        size_t places = 0;
        for (const char *name : {"<action>", "<ifname>", "<proxy>"}) {
            while (at < sizeof typed.text && typed.text[at] != '<') {
                at++;
            }
            if (!typed.has_at(at, name)) {
                break;
            }
            at++;
            places++;
        }
        return places >= 1 && places <= Values + 1 && places == Cut<typed>::kPlaces;
    }();
    static_assert(kGood, "<action>, then <ifname>, then <proxy>, as far as there are values");
    return {rd_line<typed>().words};
}

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
