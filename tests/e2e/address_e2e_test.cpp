// Addresses, routes and the management interface with the real tools, requested over the socket.

#include "e2e/shell.h"
#include "rig/rig.h"

#include <net/if.h>

using rig::Lines;

class RealAddress : public rig::Controller
{
  protected:
    // eth0's cable ends in a namespace of its own, where another machine holds 10.7.0.1.
    RealAddress()
    {
        shell("ip netns add far; ip link add eth0 type veth peer name peer0 netns far; ip link set lo up;"
              "ip -n far addr add 10.7.0.1/24 dev peer0; ip -n far link set peer0 up; ip link set eth0 up");
        rig::wait_until([] { return has(shell("ip -br link show eth0"), "LOWER_UP"); });
    }
    ~RealAddress() override { shell("ip link del bond0; ip link del eth0; ip netns del far"); }

    template <typename Record>
    int request(uint32_t cmd, const Record &record)
    {
        return client_.request(cmd, record);
    }

  private:
    rig::Daemon daemon_;
    rig::Client client_;
};

TEST_F(RealAddress, DuplicateAddressIsFound)
{
    const std::string marker = "/run/q7net/dhcp/ipv4_dad_conflict";
    shell("ip addr add 10.7.0.1/24 dev eth0");
    EXPECT_EQ(request(RD_CMD_IPV4_DAD, DadRequest{"eth0", "10.7.0.1", 24}), 0);
    EXPECT_EQ(rig::read_file(marker), "IPv4DAD_CONFLICT=10.7.0.1");
    EXPECT_FALSE(has(shell("ip addr show eth0"), "10.7.0.1"));
    EXPECT_EQ(request(RD_CMD_IPV4_DAD, DadRequest{"eth0", "10.7.0.9", 24}), 0);
    EXPECT_FALSE(fs::exists(marker));
}

TEST_F(RealAddress, StaticIpv4)
{
    const StaticAddrRequest addrs{
        .dad = 1, .prefix_len = 24, .ifname = "eth0", .address = "10.7.0.9", .gateway = "10.7.0.1"};
    EXPECT_EQ(request(RD_CMD_STATIC_ADDRS, addrs), 0);
    EXPECT_TRUE(has(shell("ip -4 addr show eth0"), "inet 10.7.0.9/24 brd 10.7.0.255 scope global eth0"));
    EXPECT_TRUE(has(shell("ip route"), "default via 10.7.0.1 dev eth0 proto static onlink"));
}

TEST_F(RealAddress, StaticIpv6)
{
    StaticAddrRequest addrs{
        .ipv6 = 1, .prefix_len = 64, .ifname = "eth0", .address = "2001:db8::9", .gateway = "2001:db8::1"};
    addrs.route[0] = {"02:00:00:00:00:01", "fe80::1", "2001:db8:1::", 48};
    addrs.route[1] = {"02:00:00:00:00:02", "fe80::2", "2001:db8:2::", 48};
    for (int i = 0; i < 2; i++) { // the second time replaces what the first has made
        EXPECT_EQ(request(RD_CMD_STATIC_ADDRS, addrs), 0);
        const std::string routes = shell("ip -6 route show proto static");
        EXPECT_EQ(std::count(routes.begin(), routes.end(), '\n'), 3) << routes;
        EXPECT_TRUE(has(routes, "default via 2001:db8::1 dev eth0") &&
                    has(routes, "2001:db8:1::/48 via fe80::1 dev eth0"));
    }
    EXPECT_TRUE(has(shell("ip -6 addr show eth0"), "inet6 2001:db8::9/64 scope global"));
    const std::string neighbours = shell("ip -6 neigh show nud permanent");
    EXPECT_TRUE(has(neighbours, "fe80::1 dev eth0 lladdr 02:00:00:00:00:01") && has(neighbours, "fe80::2"));
}

static MgmtReconfigRequest rebuild()
{
    return {.action = 1,
            .mtu = 1400,
            .i6_ena = 1,
            .mif_linkstate = 1,
            .hoplimit = 33,
            .mif = "bond0",
            .mac = "02:00:00:00:00:aa",
            .lwr = {"eth0"}};
}

TEST_F(RealAddress, ManagementInterfaceAsMacvlan)
{
    MgmtReconfigRequest mgmt = rebuild();
    mgmt.macvlan = 1;
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(request(RD_CMD_MGMT_RECONFIG, mgmt), 0);
        const std::string link = shell("ip -d link show bond0");
        EXPECT_TRUE(has(link, "mtu 1400") && has(link, "macvlan mode passthru nopromisc") && has(link, "LOWER_UP"))
            << link;
        EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/bond0/hop_limit"), "33\n");
        EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/eth0/disable_ipv6"), "1\n");
        shell("ip addr add 10.7.0.9/24 dev bond0; ip addr add 2001:db8::9/64 dev bond0");
    }
    mgmt.action = 2;
    mgmt.mif_linkstate = 0;
    EXPECT_EQ(request(RD_CMD_MGMT_RECONFIG, mgmt), 0);
    EXPECT_EQ(shell("ip addr show bond0 | grep inet"), "");
    EXPECT_TRUE(has(shell("ip -br link show bond0"), "DOWN"));
}

TEST_F(RealAddress, ManagementInterfaceAsBondWithVlan)
{
    if (has(shell("ip link add probe type bond && ip link del probe"), "Unknown device type")) {
        GTEST_SKIP() << "this kernel has no bonding";
    }
    MgmtReconfigRequest mgmt = rebuild();
    mgmt.vlan = 100;
    EXPECT_EQ(request(RD_CMD_MGMT_RECONFIG, mgmt), 0);
    const std::string bonding = "/sys/class/net/bond0/bonding/";
    EXPECT_EQ(rig::read_file(bonding + "mode"), "active-backup 1\n");
    EXPECT_EQ(rig::read_file(bonding + "slaves"), "eth0\n");
    EXPECT_EQ(rig::read_file(bonding + "miimon"), "1000\n");
    EXPECT_EQ(rig::read_file(bonding + "downdelay"), "5000\n");
    EXPECT_EQ(rig::read_file(bonding + "primary"), "eth0\n");
    EXPECT_EQ(rig::read_file(bonding + "all_slaves_active"), "1\n");
    const std::string vlan = shell("ip -d link show bond0.100");
    EXPECT_TRUE(has(vlan, "mtu 1400") && has(vlan, "02:00:00:00:00:aa") && has(vlan, "vlan protocol 802.1Q id 100"))
        << vlan;
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/bond0/disable_ipv6"), "1\n");
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/bond0.100/disable_ipv6"), "0\n");
}

TEST_F(RealAddress, InitialisationWritesTheStableSecret)
{
    const InitRequest init{.secret_seed_a = "ABC123", .secret_seed_b = "XYZ789"};
    EXPECT_EQ(request(RD_CMD_INIT_IFACES, init), 0);
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/default/stable_secret"),
              "4193:85e5:bf68:127e:3b2b:4538:f9d2:22f1\n");
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv4/conf/all/arp_ignore"), "1\n");
}
