#include "firewall/slbc.h"

#include "base/child.h"
#include "base/log.h"
#include "base/validate.h"
#include "firewall/rules.h"

#include <signal.h>
#include <unistd.h>

// clang-format off
static constexpr std::array<Rule, 6> kIfCtrl = {{
    // What comes in on the connections that the next rule lets out has 443 as its source port. Matched by destination
    // port, the replies would meet the DROP below.
    {"/usr/sbin/iptables", nullptr, "INPUT", "-i", nullptr, "-p", "tcp", "--sport", "443",
     "-m", "conntrack", "--ctstate", "ESTABLISHED", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "OUTPUT", "-o", nullptr, "-p", "tcp", "--dport", "443",
     "-m", "conntrack", "--ctstate", "NEW,ESTABLISHED", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "INPUT", "-i", nullptr, "-p", "udp", "-m", "udp",
     "--sport", "67:68", "--dport", "67:68", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "OUTPUT", "-o", nullptr, "-p", "udp", "-m", "udp",
     "--sport", "67:68", "--dport", "67:68", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "INPUT", "-i", nullptr, "-j", "DROP"},
    {"/usr/sbin/iptables", nullptr, "OUTPUT", "-o", nullptr, "-j", "DROP"},
}};
static constexpr std::array<Rule, 4> kIfCtrlProxy = {{
    {"/usr/sbin/iptables", nullptr, "INPUT", "-i", nullptr, "-s", nullptr, "-p", "tcp", "-m", "tcp", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "OUTPUT", "-o", nullptr, "-d", nullptr, "-p", "tcp", "-m", "tcp", "-j", "ACCEPT"},
    {"/usr/sbin/iptables", nullptr, "INPUT", "-i", nullptr, "-j", "DROP"},
    {"/usr/sbin/iptables", nullptr, "OUTPUT", "-o", nullptr, "-j", "DROP"},
}};
// clang-format on

static constexpr const char *kDhclientPidFile = "/run/dhclientslbc.pid";
static constexpr std::array<const char *, 13> kDhclient = {"/sbin/dhclient",
                                                           "-4",
                                                           "-nw",
                                                           "-e",
                                                           "IP4_DAD=1",
                                                           "-cf",
                                                           "/etc/systemd/network/slbc.conf",
                                                           "-pf",
                                                           kDhclientPidFile,
                                                           "-lf",
                                                           "/run/q7net/tmp/slbc.lease"};

// The messages of the rule lists below.
static void rd_back_channel_firewall(RuleStep step, const char *list, int rule)
{
    switch (step) {
    case RuleStep::kExists: RD_INFO("slbc fw rule %s[%d] exists, no need to add\n", list, rule); break;
    case RuleStep::kAbsent: RD_INFO("slbc fw rule %s[%d] does not exist, no need to delete\n", list, rule); break;
    case RuleStep::kChanging: RD_INFO("slbc fw rule applying %s[%d] \n", list, rule); break;
    }
}

int rd_back_channel_firewall(uint32_t apply, uint32_t topology_lldp, const char *ifname, const char *proxy)
{
    const bool add = apply == 1;
    const bool use_proxy = rd_validate_ipv4(proxy) == RD_RC_OK;
    RD_INFO("apply_rules:%d (%s) iface:%s proxy_enabled:%d (%s) topology_lldp:%d\n", static_cast<int>(apply),
            add ? "-A" : "-D", ifname, use_proxy ? 1 : 0, proxy, static_cast<int>(topology_lldp));

    auto rules = kIfCtrl;
    auto proxy_rules = kIfCtrlProxy;
    if (use_proxy) {
        RD_INFO("proxy_addr: %s\n", proxy);
        for (Rule &rule : proxy_rules) {
            rule[4] = ifname;
        }
        proxy_rules[0][6] = proxy;
        proxy_rules[1][6] = proxy;
        const size_t count = topology_lldp < 2 ? (2 - topology_lldp) * 2 : 0;
        return rd_change_rules(std::span(proxy_rules).first(count), add, "if_ctrl_proxy", rd_back_channel_firewall);
    }
    for (Rule &rule : rules) {
        rule[4] = ifname;
    }
    const size_t count = topology_lldp < 3 ? (3 - topology_lldp) * 2 : 0;
    return rd_change_rules(std::span(rules).first(count), add, "if_ctrl", rd_back_channel_firewall);
}

int rd_slbc_control(const SlbcRequest *request)
{
    int rc = rd_validate_field(rd_validate_ifname, request->ifname);
    if (rc != 0) {
        RD_ERROR("Invalid interface name. rc=%d\n", rc);
        return rc;
    }
    if (request->proxy[0] != '\0') {
        rc = rd_validate_field(rd_validate_ipv4, request->proxy);
        if (rc != 0) {
            RD_ERROR("Invalid proxy addr. rc=%d\n", rc);
            return rc;
        }
    }
    if (request->topology_lldp > INT32_MAX) { // negative: more rules than there are, which nobody can have meant
        RD_ERROR("invalid topology_lldp: %d\n", static_cast<int>(request->topology_lldp));
        return RD_RC_OUT_OF_RANGE;
    }

    if (request->operation == 1) {
        rc = rd_back_channel_firewall(1, request->topology_lldp, request->ifname, request->proxy);
        if (rc != 0) {
            RD_ERROR("unable to configure firewall rc=%d\n", rc);
            return rc;
        }
        auto argv = kDhclient;
        argv[11] = request->ifname;
        rd_exec_cmd(argv.data(), 1, 1);
        return RD_RC_OK;
    }

    rc = rd_back_channel_firewall(0, request->topology_lldp, request->ifname, request->proxy);
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
