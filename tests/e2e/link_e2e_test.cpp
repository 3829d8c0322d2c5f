// The daemon with the real tools on veth pairs, judged by the kernel's state.

#include "e2e/shell.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "rig/rig.h"

#include <net/if.h>

using rig::Lines;

class RealLink : public rig::Controller
{
  protected:
    RealLink() { shell("ip link add eth0 type veth peer name peer0; ip link set peer0 up"); }
    ~RealLink() override { shell("ip link del eth0"); }
};

TEST_F(RealLink, GoesUpAndDown)
{
    rig::Daemon daemon;
    rig::Client client;
    EXPECT_EQ(client.request(RD_CMD_LINK, LinkControlRequest{1, "eth0"}), 0);
    EXPECT_TRUE(has(shell("ip -br link show eth0"), "UP,LOWER_UP"));
    EXPECT_EQ(client.request(RD_CMD_LINK, LinkControlRequest{0, "eth0"}), 0);
    EXPECT_TRUE(has(shell("ip -br link show eth0"), "DOWN"));
    EXPECT_EQ(client.request(RD_CMD_LINK, LinkControlRequest{1, "nosuch0"}), 256) << "ip's own status";
}

TEST_F(RealLink, MacvlansAreCreatedAndDeleted)
{
    rd_add_macvlan("macv0", "02:00:00:00:00:22", "eth0");
    const std::string with_address = shell("ip -d link show macv0");
    EXPECT_TRUE(has(with_address, "macvlan mode private") && has(with_address, "02:00:00:00:00:22")) << with_address;
    EXPECT_EQ(rd_del_sl_macvlan("macv0"), 0);
    EXPECT_EQ(if_nametoindex("macv0"), 0U);
    rd_add_macvlan("macv0", nullptr, "eth0");
    EXPECT_TRUE(has(shell("ip -d link show macv0"), "macvlan mode passthru nopromisc"));
    rd_del_sl_macvlan("macv0");
}

TEST_F(RealLink, MacAddressChangesUnderARunningLink)
{
    EXPECT_EQ(rd_set_iface_mac("eth0", "02:00:00:00:00:33"), 0);
    EXPECT_TRUE(has(shell("ip -br link show eth0"), "02:00:00:00:00:33 <BROADCAST,MULTICAST,UP"));
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 5, "up"), 1);
}

TEST_F(RealLink, Ipv6SettingsReachTheKernel)
{
    rd_set_link_state("eth0", 1);
    rd_configure_ipv6("eth0", 1, 0, 0);
    rd_set_ip6_hoplimit("eth0", 77);
    const std::string conf = "/proc/sys/net/ipv6/conf/eth0/";
    EXPECT_EQ(rig::read_file(conf + "accept_ra"), "0\n");
    EXPECT_EQ(rig::read_file(conf + "accept_dad"), "2\n");
    EXPECT_EQ(rig::read_file(conf + "disable_ipv6"), "0\n");
    EXPECT_EQ(rig::read_file(conf + "hop_limit"), "77\n");
    EXPECT_TRUE(has(shell("ip -6 addr show eth0"), "fe80::"));
    rd_configure_ipv6("eth0", 0, 0, -1);
    EXPECT_EQ(shell("ip -6 addr show eth0"), "");
    platform_log.take();
    rd_ipv6_setting("eth0", "accept_ra", "nonsense");
    EXPECT_EQ(platform_log.take(), Lines{"2 rd_ipv6_setting ERROR - eth0 accept_ra val:nonsense Invalid argument"});
}

TEST_F(RealLink, VlanCarriesItsId)
{
    if (has(shell("ip link add link eth0 name probe type vlan id 2 && ip link del probe"), "Unknown device type")) {
        GTEST_SKIP() << "this kernel has no 802.1Q";
    }
    rd_set_link_state("eth0", 1); // a VLAN cannot be up above a link that is down
    EXPECT_EQ(rd_add_vlan("eth0", 4094, 1, 0, 0), 0) << testing::PrintToString(log());
    const std::string vlan = shell("ip -d link show eth0.4094");
    EXPECT_TRUE(has(vlan, "vlan protocol 802.1Q id 4094") && has(vlan, "UP")) << vlan;
    EXPECT_EQ(rd_del_sl_macvlan("eth0.4094"), 0);
}
