#include "firewall/rules.h"

#include "base/child.h"

int rd_change_rules(std::span<Rule> rules, bool add, const char *list,
                    void (*report)(RuleStep step, const char *list, int rule))
{
    int result = 0;
    int number = 0;
    for (Rule &rule : rules) {
        rule[1] = "-C";
        // A check that could not be made at all counts as 'absent'. An addition that follows meets the same trouble, and
        // a rule that stands twice is a smaller harm than one that is missing.
        const bool exists = rd_exec_cmd(rule.data(), 1, 1) == 0;
        if (exists == add) {
            report(exists ? RuleStep::kExists : RuleStep::kAbsent, list, number);
        } else {
            report(RuleStep::kChanging, list, number);
            rule[1] = add ? "-A" : "-D";
            const int rc = rd_exec_cmd(rule.data(), 1, 1);
            if (rc != 0) {
                result = rc;
            }
        }
        number++;
    }
    return result;
}
