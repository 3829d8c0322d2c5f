#include "firewall/commands.h"

#include "base/child.h"
#include "base/validate.h"
#include "firewall/rules.h"

#include <algorithm>

#include <signal.h>
#include <unistd.h>

static constexpr const char *kDhclientPidFile = "/run/dhclientslbc.pid";

using SlbcRule = Rule<2>; // of the interface and the proxy
static constexpr SlbcRule kIfCtrl[] = {
    // What comes in on the connections that the next rule lets out has 443 as its source port. Matched by destination
    // port, the replies would meet the DROP below.
    rd_rule<2, "/usr/sbin/iptables <action> INPUT -i <ifname> -p tcp --sport 443 -m conntrack --ctstate ESTABLISHED -j "
               "ACCEPT">(),
    rd_rule<2,
            "/usr/sbin/iptables <action> OUTPUT -o <ifname> -p tcp --dport 443 -m conntrack --ctstate NEW,ESTABLISHED "
            "-j ACCEPT">(),
    rd_rule<2, "/usr/sbin/iptables <action> INPUT -i <ifname> -p udp -m udp --sport 67:68 --dport 67:68 -j ACCEPT">(),
    rd_rule<2, "/usr/sbin/iptables <action> OUTPUT -o <ifname> -p udp -m udp --sport 67:68 --dport 67:68 -j ACCEPT">(),
    rd_rule<2, "/usr/sbin/iptables <action> INPUT -i <ifname> -j DROP">(),
    rd_rule<2, "/usr/sbin/iptables <action> OUTPUT -o <ifname> -j DROP">(),
};
static constexpr SlbcRule kIfCtrlProxy[] = {
    rd_rule<2, "/usr/sbin/iptables <action> INPUT -i <ifname> -s <proxy> -p tcp -m tcp -j ACCEPT">(),
    rd_rule<2, "/usr/sbin/iptables <action> OUTPUT -o <ifname> -d <proxy> -p tcp -m tcp -j ACCEPT">(),
    rd_rule<2, "/usr/sbin/iptables <action> INPUT -i <ifname> -j DROP">(),
    rd_rule<2, "/usr/sbin/iptables <action> OUTPUT -o <ifname> -j DROP">(),
};

// Adds (1) or deletes (any other value of apply) the back channel's firewall rules.
//   topology_lldp  0 all rules, 1 without the final DROP rules, 2 and more fewer still
//   proxy          IPv4 text, or empty
// Returns 0, or the wait status of the last iptables that failed to change a rule.
static int rd_back_channel_firewall(uint32_t apply, uint32_t topology_lldp, const char *ifname, const char *proxy)
{
    const bool add = apply == RD_SLBC_SET_UP;
    const bool use_proxy = rd_validate_ipv4(proxy) == RD_RC_OK;
    RD_INFO("apply_rules:%d (%s) iface:%s proxy_enabled:%d (%s) topology_lldp:%d\n", static_cast<int>(apply),
            add ? "-A" : "-D", ifname, use_proxy ? 1 : 0, proxy, static_cast<int>(topology_lldp));
    if (use_proxy) {
        RD_INFO("proxy_addr: %s\n", proxy);
    }

    const char *const list = use_proxy ? "if_ctrl_proxy" : "if_ctrl";
    const std::span<const SlbcRule> rules = use_proxy ? std::span<const SlbcRule>(kIfCtrlProxy) : kIfCtrl;
    const size_t left_out =
        std::min<size_t>(topology_lldp, rules.size() / 2) * 2; // a pair for each step of the topology
    int result = RD_RC_OK;
    for (int i = 0; const SlbcRule &rule : rules.first(rules.size() - left_out)) {
        if (rd_rule_exists(rule, ifname, proxy) == add) {
            RD_INFO("slbc fw rule %s[%d] %s\n", list, i,
                    add ? "exists, no need to add" : "does not exist, no need to delete");
        } else {
            RD_INFO("slbc fw rule applying %s[%d] \n", list, i);
            const int rc = rd_change_rule(rule, add, ifname, proxy);
            result = rc != 0 ? rc : result;
        }
        i++;
    }
    return result;
}

int rd_slbc_control(const SlbcRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid interface name. rc=")) {
        return refused;
    }
    if (request->proxy[0] != '\0') {
        if (const int refused = rd_check(rd_validate_ipv4, request->proxy, "Invalid proxy addr. rc=")) {
            return refused;
        }
    }
    if (request->topology_lldp > INT32_MAX) { // negative: more rules than there are, which nobody can have meant
        RD_ERROR("invalid topology_lldp: %d\n", static_cast<int>(request->topology_lldp));
        return RD_RC_OUT_OF_RANGE;
    }

    int rc = 0;
    if (request->operation == RD_SLBC_SET_UP) {
        rc = rd_back_channel_firewall(RD_SLBC_SET_UP, request->topology_lldp, request->ifname, request->proxy);
        if (rc != 0) {
            RD_ERROR("unable to configure firewall rc=%d\n", rc);
            return rc;
        }
        rd_run<"/sbin/dhclient -4 -nw -e IP4_DAD=1 -cf /etc/systemd/network/slbc.conf -pf <pid-file> -lf "
               "/run/q7net/tmp/slbc.lease <ifname>">(kDhclientPidFile, request->ifname);
        return RD_RC_OK;
    }

    rc = rd_back_channel_firewall(RD_SLBC_TEAR_DOWN, request->topology_lldp, request->ifname, request->proxy);
    if (rc != 0) {
        RD_ERROR("unable to remove firewall rules rc=%d\n", rc);
    }
    uint32_t pid = 0;
    if (rd_get_pid_from_file(kDhclientPidFile, &pid) != 0) {
        RD_ERROR("unable to get pid from file\n");
        return RD_RC_OK;
    }
    rc = kill(static_cast<pid_t>(pid), SIGKILL);
    RD_INFO("kill rc=%d\n", rc);
    unlink(kDhclientPidFile);
    return RD_RC_OK;
}
