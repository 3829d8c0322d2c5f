#include "firewall/firewall.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "firewall/rules.h"

static constexpr const char *kForwarding = "/proc/sys/net/ipv4/conf/all/forwarding";
static constexpr std::array<const char *, 8> kScript = {"/etc/sysapps_script/network/fwctrl.sh"};

// clang-format off
static constexpr std::array<Rule, 3> kUsbNatRules = {{
    {"/usr/sbin/iptables", nullptr, "POSTROUTING", "-t", "nat", "-s", "169.254.0.0/16", "-o", "bond0", "-j", "MASQUERADE"},
    {"/usr/sbin/iptables", nullptr, "FORWARD", "-s", "169.254.0.0/16", "-o", "bond0", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "FORWARD", "-d", "169.254.0.0/16", "-m", "state", "--state", "ESTABLISHED,RELATED",
     "-i", "bond0", "-j", "ACCEPT"},
}};
// clang-format on

int rd_fw_control(int action, const char *ruleset, const char (*ifname)[RD_IFNAME_SIZE],
                  const char (*argument)[RD_MAC_SIZE])
{
    if (action == -1) {
        return RD_RC_OK;
    }
    if (action != 0 && action != 1) {
        RD_ERROR("invalid command\n");
        return RD_RC_BAD_ACTION;
    }
    auto argv = kScript;
    argv[1] = ruleset;
    argv[2] = action == 1 ? "apply" : "remove";
    if (ifname != nullptr) {
        const int refused = rd_validate_field(rd_validate_ifname, *ifname);
        if (refused != 0) {
            RD_ERROR("Invalid mgmt interface name. rc=%d\n", refused);
            return refused;
        }
        argv[3] = *ifname;
    } else if (argument != nullptr) {
        for (size_t i = 0; i < 4; i++) {
            argv[3 + i] = argument[i];
        }
    }
    const int status = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("%s firewall rules action %s status=%d\n", ruleset, argv[2], status);
    return RD_RC_OK;
}

// The messages of the rule list below.
static void rd_usb_nat_fw_control(RuleStep step, const char * /*list*/, int rule)
{
    switch (step) {
    case RuleStep::kExists: RD_DEBUG("USB NAT fw rule[%d] exists, no need to add\n", rule); break;
    case RuleStep::kAbsent: RD_DEBUG("USB NAT fw rule[%d] does not exist, no need to delete\n", rule); break;
    case RuleStep::kChanging: RD_DEBUG("applying rule %d\n", rule); break;
    }
}

int rd_usb_nat_fw_control(uint32_t operation)
{
    const bool add = operation == 1;
    auto rules = kUsbNatRules;
    RD_INFO("%s rules being applied in shellexec (%d)\n", add ? "apply" : "remove", static_cast<int>(operation));
    const auto [opened, error] = rd_write_file(kForwarding, add ? "1\n" : "0\n");
    if (!opened) {
        RD_ERROR("Failed to open file %s %s\n", kForwarding, ErrorText(error).c_str());
    } else if (error != 0) {
        RD_ERROR("Failed to write file %s %s\n", kForwarding, ErrorText(error).c_str());
    }
    return rd_change_rules(rules, add, "USB NAT", rd_usb_nat_fw_control);
}

int rd_firewall_control(FirewallRequest *request)
{
    if (request->operation > 1) {
        RD_ERROR("invalid firewall operation\n");
        return RD_RC_OUT_OF_RANGE;
    }
    for (auto &argument : request->argument) {
        rd_cut(argument);
    }
    const auto action = static_cast<int>(request->operation);
    switch (request->ruleset) {
    case 0: return rd_fw_control(action, "mdns", nullptr, nullptr);
    case 1: return rd_fw_control(action, "dedipv4", &request->ifname, nullptr);
    case 2: return rd_usb_nat_fw_control(request->operation);
    case 3: return rd_fw_control(action, "ping", nullptr, nullptr);
    case 4: return rd_fw_control(action, "dpufilt", nullptr, request->argument);
    default: RD_ERROR("invalid ruleset: %d\n", static_cast<int>(request->ruleset)); return RD_RC_FAILED;
    }
}
