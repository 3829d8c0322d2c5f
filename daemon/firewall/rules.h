// Lists of iptables rules that are changed check-first, so that none is added twice or deleted when absent.
#pragma once

#include <array>
#include <span>

// The words of one call of iptables(8). The second is the action and left to rd_change_rules.
using Rule = std::array<const char *, 16>;

// What is about to happen to a rule of a list.
enum class RuleStep {
    kExists,   // nothing: it is there and shall be
    kAbsent,   // nothing: it is not there and shall not be
    kChanging, // it is added or deleted
};

// Adds the rules that are not there, or deletes those that are, in their order. Nothing is undone when one fails.
//   rules   changed at their action word only
//   list    name of the list, for report
//   report  told of every rule, by its number counted from 0, before it is changed
// Returns 0, or the wait status of the last change that failed.
int rd_change_rules(std::span<Rule> rules, bool add, const char *list,
                    void (*report)(RuleStep step, const char *list, int rule));
