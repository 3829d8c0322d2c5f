#include "iface/mgmt.h"

#include "rig/rig.h"

using rig::Lines;

class Mgmt : public rig::Controller
{
  protected:
    static MgmtReconfigRequest request(uint32_t action)
    {
        return {.action = action,
                .mtu = 1500,
                .macvlan = 1,
                .i6_ena = 1,
                .i6_auto = 1,
                .mif_linkstate = 1,
                .stabpriv = 2,
                .mif = "bond0",
                .mac = "02:00:00:00:00:01",
                .lwr = {"eth0", "", "eth2"}};
    }
    // What every request ends with.
    static Lines common(const std::string &mif, const std::string &target, const std::string &mtu = "1500")
    {
        return {"/sbin/ip link set dev " + mif + " up", "/sbin/ip link set dev " + target + " mtu " + mtu,
                "/sbin/ip -4 addr flush dev " + target,
                "/sbin/ip -6 addr flush dev " + target + " scope global permanent",
                "/sbin/ip link set dev " + target + " up"};
    }
};

static Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST_F(Mgmt, RefusesBadNames)
{
    const std::pair<const char *, const char *> cases[] = {{"bond-0", "eth0"}, {"bond 0", "eth0"}, {"bond0", "eth-0"}};
    for (const auto &[mif, lower] : cases) {
        MgmtReconfigRequest bad = request(1);
        strcpy(bad.mif, mif);
        strcpy(bad.lwr[2], lower);
        EXPECT_EQ(rd_mgmt_iface_reconfig(&bad), 12);
        EXPECT_EQ(log(), Lines{"2 rd_mgmt_iface_reconfig ERROR - Invalid arguments"});
    }
    MgmtReconfigRequest full = request(1);
    memset(full.lwr, '1', sizeof full.lwr);
    EXPECT_EQ(rd_mgmt_iface_reconfig(&full), 12);
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Mgmt, RebuildsAsMacvlan)
{
    interface("eth0");
    interface("bond0");
    MgmtReconfigRequest rebuild = request(1);
    rebuild.hoplimit = 64;
    answer("/sbin/ip link delete", 1);
    EXPECT_EQ(rd_mgmt_iface_reconfig(&rebuild), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link delete dev bond0",
                              "/sbin/ip link add bond0 link eth0 type macvlan mode passthru nopromisc"} +
                        common("bond0", "bond0")));
    EXPECT_EQ(ipv6("eth0") + ipv6("bond0"), "123012");
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/bond0/hop_limit"), "64\n");
    EXPECT_EQ(log_of("rd_mgmt_iface_reconfig"),
              (Lines{"4 action:1 macvlan:1 vlan:0", "4 mif:bond0 ded: ded2: linkstate mif:1 ded:0", "4 lwr1:eth0",
                     "4 lwr2:", "4 lwr3:eth2", "4 i6 ena:1 i6 auto:1 hoplimit:64 stabpriv:2",
                     "3 WARN - failed to reset bond0 rc=256", "4 flushed static IPv4 addresses on bond0 rc=0",
                     "4 flushed static IPv6 addresses on bond0 rc=0"}));
}

// Every step in its order, file writes included.
TEST_F(Mgmt, RebuildsAsMacvlanBelowAVlan)
{
    for (const char *name : {"eth0", "bond0", "bond0.100"}) {
        interface(name);
    }
    MgmtReconfigRequest rebuild = request(1);
    rebuild.vlan = 100;
    rebuild.hoplimit = 64;
    EXPECT_EQ(rd_mgmt_iface_reconfig(&rebuild), 0);
    EXPECT_EQ(ipv6("eth0") + ipv6("bond0") + ipv6("bond0.100"), "123123012");
    Lines messages = log();
    EXPECT_EQ(Lines(messages.begin() + 6, messages.end()),
              (Lines{"4 rd_add_macvlan macvlan bond0 lower eth0 rc=0",
                     "4 rd_configure_ipv6 eth0 enable:0 autoconfig:0",
                     "5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK",
                     "4 rd_configure_ipv6 bond0 enable:0 autoconfig:0",
                     "5 rd_ipv6_setting bond0 disable_ipv6 val:1 OK",
                     "4 rd_add_vlan vlan bond0.100 lower bond0 id 100 rc=0",
                     "4 rd_configure_ipv6 bond0.100 enable:1 autoconfig:1",
                     "4 rd_configure_ipv6 IPv6 autoconfig transition on bond0.100",
                     "5 rd_ipv6_setting bond0.100 disable_ipv6 val:1 OK",
                     "5 rd_ipv6_setting bond0.100 accept_ra val:1 OK",
                     "5 rd_ipv6_setting bond0.100 accept_dad val:2 OK",
                     "5 rd_ipv6_setting bond0.100 accept_ra_rt_info_max_plen val:128 OK",
                     "5 rd_ipv6_setting bond0.100 addr_gen_mode val:2 OK",
                     "5 rd_ipv6_setting bond0.100 disable_ipv6 val:0 OK",
                     "4 rd_add_vlan ipv6 configured for bond0.100",
                     "4 rd_link_control set bond0.100 up rc=0",
                     "4 rd_link_control set bond0 up rc=0",
                     "4 rd_mgmt_iface_reconfig flushed static IPv4 addresses on bond0.100 rc=0",
                     "4 rd_mgmt_iface_reconfig flushed static IPv6 addresses on bond0.100 rc=0",
                     "4 rd_link_control set bond0.100 up rc=0",
                     "4 rd_set_ip6_hoplimit wrote 64 to /proc/sys/net/ipv6/conf/bond0.100/hop_limit chars:3"}));

    answer("/sbin/ip link add link", 2);
    rd_mgmt_iface_reconfig(&rebuild);
    messages = log_of("rd_mgmt_iface_reconfig");
    EXPECT_EQ(messages[6], "2 ERROR - Failed to add vlan 100 on bond0 rc=512");
}

TEST_F(Mgmt, RebuildsAsBondBelowAVlan)
{
    interface("bond0");
    interface("bond0.100");
    MgmtReconfigRequest rebuild = request(1);
    rebuild.macvlan = 0;
    rebuild.vlan = 100;
    strcpy(rebuild.lwr[0], "eth 0"); // a space is accepted here, and refused by the link step
    EXPECT_EQ(rd_mgmt_iface_reconfig(&rebuild), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link delete dev bond0",
                              "/sbin/ip link add dev bond0 address 02:00:00:00:00:01 type bond mode active-backup",
                              "/sbin/ip link set dev bond0 up", "/sbin/ip link set dev 'eth 0' master bond0",
                              "/sbin/ip link set dev eth2 down", "/sbin/ip link set dev eth2 master bond0",
                              "/sbin/ip link add link bond0 name bond0.100 type vlan id 100",
                              "/sbin/ip link set dev bond0.100 up"} +
                        common("bond0", "bond0.100")));
    EXPECT_EQ(ipv6("bond0") + ipv6("bond0.100"), "123012");
}

TEST_F(Mgmt, OnlyReappliesOrOnlyDoesTheCommonSteps)
{
    interface("bond0.4094");
    MgmtReconfigRequest reapply = request(0);
    reapply.vlan = 4094;
    EXPECT_EQ(rd_mgmt_iface_reconfig(&reapply), 0);
    EXPECT_EQ(calls(), common("bond0", "bond0.4094"));
    EXPECT_EQ(log_of("rd_configure_ipv6"),
              (Lines{"4 bond0.4094 enable:1 autoconfig:1", "4 IPv6 autoconfig transition on bond0.4094"}));

    MgmtReconfigRequest neither = request(2);
    neither.vlan = 2147483648; // above 4094, treated as none
    neither.mtu = 10000;
    EXPECT_EQ(rd_mgmt_iface_reconfig(&neither), 0);
    EXPECT_EQ(calls(), common("bond0", "bond0", "1000"));
    EXPECT_EQ(log_of("rd_configure_ipv6"), Lines{});
}

TEST_F(Mgmt, LinkDownFlushesEveryIpv6Address)
{
    MgmtReconfigRequest down = request(4294967295);
    down.mif_linkstate = 0;
    down.mtu = -2147483648;
    answer("/sbin/ip link set dev bond0 down", 1);
    answer("/sbin/ip link set dev bond0 mtu", 2);
    EXPECT_EQ(rd_mgmt_iface_reconfig(&down), 256);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev bond0 down", "/sbin/ip link set dev bond0 mtu -214",
                              "/sbin/ip -4 addr flush dev bond0", "/sbin/ip -6 addr flush dev bond0",
                              "/sbin/ip link set dev bond0 down"}));
    const Lines messages = log_of("rd_mgmt_iface_reconfig");
    EXPECT_EQ(messages[0], "4 action:-1 macvlan:1 vlan:0");
    EXPECT_EQ(messages[6], "2 ERROR - unable to mif bond0 link state=0 rc=256");
    EXPECT_EQ(messages[7], "2 ERROR - set MTU for bond0=-2147483648 rc=512");
}

TEST_F(Mgmt, FollowersFollow)
{
    MgmtReconfigRequest with_followers = request(2);
    strcpy(with_followers.ded, "eth1");
    strcpy(with_followers.ded2, "eth3");
    answer("/sbin/ip link set dev eth3", 1);
    rd_mgmt_iface_reconfig(&with_followers);
    EXPECT_EQ(calls(),
              (Lines{"/sbin/ip link set dev eth1 down", "/sbin/ip link set dev eth3 down"} + common("bond0", "bond0")));
    Lines messages = log_of("rd_mgmt_iface_reconfig");
    EXPECT_EQ(Lines(messages.begin() + 6, messages.begin() + 9),
              (Lines{"4 set link state for eth1 to 0", "4 set link state for eth3 to 0",
                     "2 ERROR - failed to set link state 0 for eth3 rc=256"}));

    with_followers.ded2[0] = '\0';
    with_followers.ded_linkstate = 2;
    rd_mgmt_iface_reconfig(&with_followers);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev eth1 up"} + common("bond0", "bond0")));
    EXPECT_EQ(log_of("rd_mgmt_iface_reconfig")[7], "4 set link state for  to 2");

    strcpy(with_followers.ded2, "eth3");
    with_followers.ded[0] = '\0';
    rd_mgmt_iface_reconfig(&with_followers);
    EXPECT_EQ(calls(), common("bond0", "bond0")) << "the second follows only with the first";
}

TEST_F(Mgmt, FullFieldsAreCutToTheirWidth)
{
    const std::string target = "abcdefgh1234567";
    interface("abcdefgh1234567.100");
    MgmtReconfigRequest full = request(1);
    strcpy(full.mif, target.c_str());
    full.vlan = 100;
    full.macvlan = 0;
    memset(full.ded, '1', sizeof full.ded);
    memset(full.ded2, '2', sizeof full.ded2);
    memset(full.mac, '3', sizeof full.mac);
    rd_mgmt_iface_reconfig(&full);
    const Lines run = calls();
    EXPECT_EQ(run[1],
              "/sbin/ip link add dev " + target + " address " + std::string(17, '3') + " type bond mode active-backup");
    EXPECT_EQ(run[7], "/sbin/ip link add link " + target + " name " + target + ".100 type vlan id 100");
    EXPECT_EQ(run[9], "/sbin/ip link set dev " + std::string(15, '1') + " down");
    EXPECT_EQ(run[10], "/sbin/ip link set dev " + std::string(15, '2') + " down");
    EXPECT_EQ(Lines(run.end() - 5, run.end()), common(target, target));
    EXPECT_TRUE(wait_for_message("6 rd_mgmt_iface_reconfig you'll never see this message"));
}

TEST_F(Mgmt, SidebandMacvlanIsWithoutIpv6)
{
    interface("macv2");
    rd_add_sl_macvlan("macv2", "02:00:00:00:00:02", "eth2");
    EXPECT_EQ(calls(), Lines{"/sbin/ip link add macv2 link eth2 address 02:00:00:00:00:02 type macvlan mode private"});
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_add_sl_macvlan adding interface macv2", "4 rd_add_macvlan macvlan macv2 lower eth2 rc=0",
               "4 rd_configure_ipv6 macv2 enable:0 autoconfig:0", "5 rd_ipv6_setting macv2 disable_ipv6 val:1 OK"}));
}
