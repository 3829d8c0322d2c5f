#include "firewall/policy.h"
#include "firewall/rulesets.h"
#include "firewall/slbc.h"
#include "rig/rig.h"

#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

static const std::string kForwarding = "/proc/sys/net/ipv4/conf/all/forwarding";
static const std::string kFwctrl = "/etc/sysapps_script/network/fwctrl.sh ";
static const std::string kPidFile = "/run/dhclientslbc.pid";

class Firewall : public rig::Controller
{
  protected:
    Firewall() { fs::create_directories(fs::path(kForwarding).parent_path()); }

    static int control(uint32_t ruleset, uint32_t operation, const std::string &ifname = "")
    {
        FirewallRequest request{.ruleset = ruleset, .operation = operation};
        memcpy(request.ifname, ifname.data(), ifname.size());
        memset(request.argument, '9', sizeof request.argument[0] * 2); // two full fields, two empty ones
        return rd_firewall_control(&request);
    }
    // The calls of iptables for rules, each without its action, as "ACTION RULE".
    static Lines iptables(const Lines &rules, const Lines &actions)
    {
        Lines commands;
        for (size_t i = 0; i < rules.size(); i++) {
            for (const char action : actions[i]) {
                commands.push_back("/usr/sbin/iptables -" + std::string(1, action) + " " + rules[i]);
            }
        }
        return commands;
    }
    // Tells iptables that a rule does not exist.
    static void absent(const std::string &rule) { answer("/usr/sbin/iptables -C " + rule, 1); }
};

static const Lines kNat = {"POSTROUTING -t nat -s 169.254.0.0/16 -o bond0 -j MASQUERADE",
                           "FORWARD -s 169.254.0.0/16 -o bond0 -j ACCEPT",
                           "FORWARD -d 169.254.0.0/16 -m state --state ESTABLISHED,RELATED -i bond0 -j ACCEPT"};

TEST_F(Firewall, ScriptGetsRulesetActionAndArguments)
{
    const std::string nines(17, '9');
    const std::tuple<uint32_t, uint32_t, std::string> cases[] = {
        {0, 1, "mdns apply"},
        {0, 0, "mdns remove"},
        {1, 1, "dedipv4 apply eth1"},
        {3, 0, "ping remove"},
        {4, 1, "dpufilt apply " + nines + " " + nines + " '' ''"},
    };
    answer(kFwctrl, 3);
    for (const auto &[ruleset, operation, words] : cases) {
        EXPECT_EQ(control(ruleset, operation, "eth1"), 0) << "whatever the script's status";
        EXPECT_EQ(calls(), Lines{kFwctrl + words});
    }
    EXPECT_EQ(log()[2], "4 rd_fw_control dedipv4 firewall rules action apply status=768");
    EXPECT_EQ(control(1, 0), 0);
    EXPECT_EQ(calls(), Lines{kFwctrl + "dedipv4 remove ''"});
}

TEST_F(Firewall, RefusesBadRequests)
{
    EXPECT_EQ(control(9, 2), 14);
    EXPECT_EQ(control(5, 1), 1);
    EXPECT_EQ(control(1, 1, "eth-1"), 12);
    EXPECT_EQ(control(1, 1, "0123456789abcdef"), 11) << "no NUL before what follows";
    EXPECT_EQ(rd_fw_control(2, "mdns", nullptr, nullptr), 16);
    EXPECT_EQ(rd_fw_control(-2, "mdns", nullptr, nullptr), 16);
    EXPECT_EQ(rd_fw_control(-1, "mdns", nullptr, nullptr), 0);
    EXPECT_EQ(log(), (Lines{"2 rd_firewall_control ERROR - invalid firewall operation",
                            "2 rd_firewall_control ERROR - invalid ruleset: 5",
                            "2 rd_fw_control ERROR - Invalid mgmt interface name. rc=12",
                            "2 rd_fw_control ERROR - Invalid mgmt interface name. rc=11",
                            "2 rd_fw_control ERROR - invalid command", "2 rd_fw_control ERROR - invalid command"}));
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Firewall, UsbNatChangesOnlyWhatIsNotSoYet)
{
    EXPECT_EQ(control(2, 1), 0);
    EXPECT_EQ(calls(), iptables(kNat, {"C", "C", "C"}));
    EXPECT_EQ(rig::read_file(kForwarding), "1\n");
    EXPECT_EQ(log()[1], "5 rd_usb_nat_fw_control USB NAT fw rule[0] exists, no need to add");

    EXPECT_EQ(control(2, 0), 0);
    EXPECT_EQ(calls(), iptables(kNat, {"CD", "CD", "CD"}));
    EXPECT_EQ(rig::read_file(kForwarding), "0\n");
    log();

    absent("FORWARD -s");
    answer("/usr/sbin/iptables -A FORWARD -s", 4);
    EXPECT_EQ(control(2, 1), 1024);
    EXPECT_EQ(calls(), iptables(kNat, {"C", "CA", "C"}));
    EXPECT_EQ(log(), (Lines{"4 rd_usb_nat_fw_control apply rules being applied in shellexec (1)",
                            "5 rd_usb_nat_fw_control USB NAT fw rule[0] exists, no need to add",
                            "5 rd_usb_nat_fw_control applying rule 1",
                            "5 rd_usb_nat_fw_control USB NAT fw rule[2] exists, no need to add"}));

    absent("");
    fs::remove_all("/proc/sys/net/ipv4");
    EXPECT_EQ(control(2, 0), 0);
    EXPECT_EQ(calls(), iptables(kNat, {"C", "C", "C"}));
    EXPECT_EQ(log(), (Lines{"4 rd_usb_nat_fw_control remove rules being applied in shellexec (0)",
                            "2 rd_usb_nat_fw_control ERROR - Failed to open file " + kForwarding +
                                " No such file or directory",
                            "5 rd_usb_nat_fw_control USB NAT fw rule[0] does not exist, no need to delete",
                            "5 rd_usb_nat_fw_control USB NAT fw rule[1] does not exist, no need to delete",
                            "5 rd_usb_nat_fw_control USB NAT fw rule[2] does not exist, no need to delete"}));
}

static const Lines kPlain = {"INPUT -i eth1 -p tcp --sport 443 -m conntrack --ctstate ESTABLISHED -j ACCEPT",
                             "OUTPUT -o eth1 -p tcp --dport 443 -m conntrack --ctstate NEW,ESTABLISHED -j ACCEPT",
                             "INPUT -i eth1 -p udp -m udp --sport 67:68 --dport 67:68 -j ACCEPT",
                             "OUTPUT -o eth1 -p udp -m udp --sport 67:68 --dport 67:68 -j ACCEPT",
                             "INPUT -i eth1 -j DROP",
                             "OUTPUT -o eth1 -j DROP"};
static const Lines kProxy = {"INPUT -i eth1 -s 10.0.0.5 -p tcp -m tcp -j ACCEPT",
                             "OUTPUT -o eth1 -d 10.0.0.5 -p tcp -m tcp -j ACCEPT", "INPUT -i eth1 -j DROP",
                             "OUTPUT -o eth1 -j DROP"};
static const std::string kDhclient = "/sbin/dhclient -4 -nw -e IP4_DAD=1 -cf /etc/systemd/network/slbc.conf "
                                     "-pf /run/dhclientslbc.pid -lf /run/q7net/tmp/slbc.lease eth1";

TEST_F(Firewall, BackChannelSetUp)
{
    absent("");
    SlbcRequest request{.operation = 1, .ifname = "eth1"};
    answer("/sbin/dhclient", 2);
    EXPECT_EQ(rd_slbc_control(&request), 0) << "the DHCP client's status is not looked at";
    Lines expected = iptables(kPlain, Lines(6, "CA"));
    expected.push_back(kDhclient);
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(log_of("rd_back_channel_firewall")[0],
              "4 apply_rules:1 (-A) iface:eth1 proxy_enabled:0 () topology_lldp:0");

    answer("/usr/sbin/iptables -A OUTPUT", 0);
    fs::remove("/rig/answers");
    EXPECT_EQ(rd_slbc_control(&request), 0);
    expected = iptables(kPlain, Lines(6, "C"));
    expected.push_back(kDhclient);
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(log_of("rd_back_channel_firewall")[6], "4 slbc fw rule if_ctrl[5] exists, no need to add");

    absent("");
    answer("/usr/sbin/iptables -A INPUT -i eth1 -p udp", 3);
    EXPECT_EQ(rd_slbc_control(&request), 768);
    EXPECT_EQ(calls(), iptables(kPlain, Lines(6, "CA"))) << "no DHCP client without its firewall";
    EXPECT_EQ(log_of("rd_slbc_control"), Lines{"2 ERROR - unable to configure firewall rc=768"});
}

TEST_F(Firewall, BackChannelRulesFollowProxyAndTopology)
{
    absent("");
    const std::tuple<const char *, uint32_t, Lines> cases[] = {
        {"", 1, Lines(kPlain.begin(), kPlain.begin() + 4)},
        {"", 2, Lines(kPlain.begin(), kPlain.begin() + 2)},
        {"", 3, {}},
        {"", 2147483647, {}},
        {"10.0.0.5", 0, kProxy},
        {"10.0.0.5", 1, Lines(kProxy.begin(), kProxy.begin() + 2)},
        {"10.0.0.5", 2, {}},
    };
    for (const auto &[proxy, topology_lldp, rules] : cases) {
        EXPECT_EQ(rd_back_channel_firewall(1, topology_lldp, "eth1", proxy), 0);
        EXPECT_EQ(calls(), iptables(rules, Lines(6, "CA")));
    }
    log();
    rd_back_channel_firewall(1, 1, "eth1", "10.0.0.5");
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_back_channel_firewall apply_rules:1 (-A) iface:eth1 proxy_enabled:1 (10.0.0.5) topology_lldp:1",
               "4 rd_back_channel_firewall proxy_addr: 10.0.0.5",
               "4 rd_back_channel_firewall slbc fw rule applying if_ctrl_proxy[0] ",
               "4 rd_back_channel_firewall slbc fw rule applying if_ctrl_proxy[1] "}));
    calls();
    SlbcRequest request{.operation = 1, .ifname = "eth1"};
    for (const uint32_t negative : {2147483648U, 4294967295U}) {
        request.topology_lldp = negative;
        EXPECT_EQ(rd_slbc_control(&request), 14);
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Firewall, BackChannelTearDown)
{
    const pid_t client = fork();
    if (client == 0) {
        pause();
        _exit(0);
    }
    rig::write_file(kPidFile, std::to_string(client) + "\n");
    absent("INPUT");
    answer("/usr/sbin/iptables -D OUTPUT -o eth1 -j DROP", 1);
    const SlbcRequest request{.operation = 2, .ifname = "eth1"};
    EXPECT_EQ(rd_slbc_control(&request), 0);
    EXPECT_EQ(calls(), iptables(kPlain, {"C", "CD", "C", "CD", "C", "CD"}));
    int status = 0;
    waitpid(client, &status, 0);
    EXPECT_EQ(status, SIGKILL);
    EXPECT_FALSE(fs::exists(kPidFile));
    const Lines messages = log();
    EXPECT_EQ(messages[0],
              "4 rd_back_channel_firewall apply_rules:0 (-D) iface:eth1 proxy_enabled:0 () topology_lldp:0");
    EXPECT_EQ(messages[1], "4 rd_back_channel_firewall slbc fw rule if_ctrl[0] does not exist, no need to delete");
    EXPECT_EQ(messages[7], "2 rd_slbc_control ERROR - unable to remove firewall rules rc=256");
    EXPECT_EQ(messages.back(), "4 rd_slbc_control kill rc=0");

    rig::write_file(kPidFile, "1\n");
    EXPECT_EQ(rd_slbc_control(&request), 0);
    EXPECT_EQ(log_of("rd_slbc_control").back(), "2 ERROR - unable to get pid from file");
}

TEST_F(Firewall, BackChannelRefusesBadFields)
{
    const std::tuple<SlbcRequest, int, std::string> cases[] = {
        {{.operation = 1, .ifname = "eth-1", .proxy = "x"}, 12, "Invalid interface name. rc=12"},
        {{.operation = 0, .ifname = "eth1", .proxy = "10.0.0"}, 19, "Invalid proxy addr. rc=19"},
        {{.operation = 1, .ifname = "eth1", .proxy = "10.0.0.x"}, 12, "Invalid proxy addr. rc=12"},
    };
    for (const auto &[request, code, message] : cases) {
        EXPECT_EQ(rd_slbc_control(&request), code);
        EXPECT_EQ(log(), Lines{"2 rd_slbc_control ERROR - " + message});
    }
    EXPECT_EQ(calls(), Lines{});
}

static BcIpRulesRequest ip_rules()
{
    return {"eth1", "10.0.0.5", "255.255.255.0", "10.0.0.1", "10.0.0.2", "rt2", 1, "02:00:00:00:00:01"};
}

TEST_F(Firewall, IpRulesGoToTheScript)
{
    const std::string script = "/etc/sysapps_script/network/tendmoor_bc.sh ";
    BcIpRulesRequest request = ip_rules();
    answer(script, 2);
    EXPECT_EQ(rd_back_channel_ip_rules(&request), 512);
    EXPECT_EQ(calls(), Lines{script + "eth1 10.0.0.5 255.255.255.0 10.0.0.1 10.0.0.2 rt2 1 02:00:00:00:00:01"});
    EXPECT_EQ(log(),
              (Lines{"4 rd_back_channel_ip_rules ",
                     "5 rd_back_channel_ip_rules ifname: eth1 address:10.0.0.5 mask:255.255.255.0 router:10.0.0.1 ",
                     "5 rd_back_channel_ip_rules dns:10.0.0.2 route_table:rt2 option:1 ded_mac: 02:00:00:00:00:01"}));
    request = {"none", "none", "none of it", "nonexxxxxxxxxxx", "none", "rt20", -1, ""};
    request.gateway[15] = request.table[11] = 'x'; // fields without NUL are cut
    memset(request.table + 4, 'y', 8);
    rd_back_channel_ip_rules(&request);
    EXPECT_EQ(calls(), Lines{script + "none none 'none of it' nonexxxxxxxxxxx none rt20yyyyyyy 1 ''"});
    request = ip_rules();
    request.option = 0;
    rd_back_channel_ip_rules(&request);
    EXPECT_EQ(calls(), Lines{script + "eth1 10.0.0.5 255.255.255.0 10.0.0.1 10.0.0.2 rt2 0 02:00:00:00:00:01"});
}

TEST_F(Firewall, IpRulesAreCheckedInOrder)
{
    BcIpRulesRequest request{"eth-1", "1", "1.1.1.x", "1", "", "rt1", 2, "x"};
    const std::pair<int, std::string> steps[] = {
        {14, "Invalid option for tendmoor_bc.sh"},
        {12, "Invalid interface name"},
        {19, "Invalid IP Address"},
        {12, "Invalid netmask"},
        {19, "Invalid gateway IP Address"},
        {11, "Invalid DNS Address"},
        {12, "Invalid routing table (rt2)"},
        {12, "Invalid mac address"},
    };
    memset(request.dns, '1', sizeof request.dns);
    const BcIpRulesRequest good = ip_rules();
    int step = 0;
    for (const auto &[code, message] : steps) {
        EXPECT_EQ(rd_back_channel_ip_rules(&request), code);
        EXPECT_EQ(log_of("rd_back_channel_ip_rules"), (Lines{"4 ", "2 ERROR - " + message}));
        switch (step++) { // mend what was found
        case 0: request.option = good.option; break;
        case 1: memcpy(request.ifname, good.ifname, 16); break;
        case 2: memcpy(request.address, good.address, 16); break;
        case 3: memcpy(request.netmask, good.netmask, 16); break;
        case 4: memcpy(request.gateway, good.gateway, 16); break;
        case 5: memcpy(request.dns, good.dns, 16); break;
        case 6: memcpy(request.table, good.table, 12); break;
        default: break;
        }
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Firewall, VlanPriorityMapsAllEight)
{
    VlanPriorityRequest request{5, "eth0.10"};
    answer("/sbin/ip link set", 2);
    EXPECT_EQ(rd_set_vlan_priority(&request), 512);
    EXPECT_EQ(calls(), Lines{"/sbin/ip link set dev eth0.10 type vlan egress-qos-map 0:5 1:5 2:5 3:5 4:5 5:5 6:5 7:5"});
    request.priority = 8;
    EXPECT_EQ(rd_set_vlan_priority(&request), 14);
    request.priority = 4294967295;
    request.ifname[3] = '-';
    EXPECT_EQ(rd_set_vlan_priority(&request), 12);
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(log_of("rd_set_vlan_priority"),
              (Lines{"4 ", "4 ", "2 ERROR - Invalid vlan priority:8", "4 ", "2 ERROR - Invalid mgmt interface name"}));
}
