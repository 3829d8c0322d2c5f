#include "firewall/firewall.h"

#include "base/file.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "firewall/commands.h"
#include "firewall/rules.h"

static constexpr const char *kForwarding = "/proc/sys/net/ipv4/conf/all/forwarding";

static constexpr Rule<0> kUsbNatRules[] = {
    rd_rule<0, "/usr/sbin/iptables <action> POSTROUTING -t nat -s 169.254.0.0/16 -o bond0 -j MASQUERADE">(),
    rd_rule<0, "/usr/sbin/iptables <action> FORWARD -s 169.254.0.0/16 -o bond0 -j ACCEPT">(),
    rd_rule<0, "/usr/sbin/iptables <action> FORWARD -d 169.254.0.0/16 -m state --state ESTABLISHED,RELATED -i bond0 -j "
               "ACCEPT">(),
};

int rd_fw_control(int action, const char *ruleset, const char (*ifname)[RD_IFNAME_SIZE],
                  const char (*argument)[RD_MAC_SIZE])
{
    if (action == -1) {
        return RD_RC_OK;
    }
    if (action != RD_FIREWALL_REMOVE && action != RD_FIREWALL_APPLY) {
        return rd_refuse(RD_RC_BAD_ACTION, "invalid command");
    }
    const char *const word = action == RD_FIREWALL_APPLY ? "apply" : "remove";
    int status = 0;
    if (ifname != nullptr) {
        if (const int refused = rd_check(rd_validate_ifname, *ifname, "Invalid mgmt interface name. rc=")) {
            return refused;
        }
        status = rd_run<"/etc/sysapps_script/network/fwctrl.sh <ruleset> <action> <ifname>">(ruleset, word, *ifname);
    } else if (argument != nullptr) {
        status = rd_run<"/etc/sysapps_script/network/fwctrl.sh <ruleset> <action> <text> <text> <text> <text>">(
            ruleset, word, argument[0], argument[1], argument[2], argument[3]);
    } else {
        status = rd_run<"/etc/sysapps_script/network/fwctrl.sh <ruleset> <action>">(ruleset, word);
    }
    RD_INFO("%s firewall rules action %s status=%d\n", ruleset, word, status);
    return RD_RC_OK;
}

// Switches IPv4 forwarding and the rules through which the host server's USB network reaches the management network.
// Returns 0, or the wait status of the last iptables that failed to change a rule.
static int rd_usb_nat_fw_control(uint32_t operation)
{
    const bool add = operation == RD_FIREWALL_APPLY;
    RD_INFO("%s rules being applied in shellexec (%d)\n", add ? "apply" : "remove", static_cast<int>(operation));
    const auto [opened, error] = rd_write_file(kForwarding, add ? "1\n" : "0\n");
    if (error != 0) {
        RD_ERROR("Failed to %s file %s %s\n", opened ? "write" : "open", kForwarding, ErrorText(error).c_str());
    }
    int result = RD_RC_OK;
    for (int i = 0; const auto &rule : kUsbNatRules) {
        if (rd_rule_exists(rule) == add) {
            RD_DEBUG("USB NAT fw rule[%d] %s\n", i,
                     add ? "exists, no need to add" : "does not exist, no need to delete");
        } else {
            RD_DEBUG("applying rule %d\n", i);
            const int rc = rd_change_rule(rule, add);
            result = rc != 0 ? rc : result;
        }
        i++;
    }
    return result;
}

int rd_firewall_control(FirewallRequest *request)
{
    if (request->operation > RD_FIREWALL_APPLY) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "invalid firewall operation");
    }
    for (auto &argument : request->argument) {
        rd_cut(argument);
    }
    const auto action = static_cast<int>(request->operation);
    switch (request->ruleset) {
    case RD_RULESET_MDNS: return rd_fw_control(action, "mdns", nullptr, nullptr);
    case RD_RULESET_DEDIPV4: return rd_fw_control(action, "dedipv4", &request->ifname, nullptr);
    case RD_RULESET_USB_NAT: return rd_usb_nat_fw_control(request->operation);
    case RD_RULESET_PING: return rd_fw_control(action, "ping", nullptr, nullptr);
    case RD_RULESET_DPUFILT: return rd_fw_control(action, "dpufilt", nullptr, request->argument);
    default: RD_ERROR("invalid ruleset: %d\n", static_cast<int>(request->ruleset)); return RD_RC_FAILED;
    }
}
