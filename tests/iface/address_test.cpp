#include "iface/address.h"

#include "iface/static_addrs.h"
#include "rig/rig.h"

using rig::Lines;

static const char *const kMarker = "/run/q7net/dhcp/ipv4_dad_conflict";

class Address : public rig::Controller
{
  protected:
    static StaticAddrRequest ipv4()
    {
        return {.prefix_len = 24, .ifname = "eth0", .address = "192.168.1.10", .gateway = "192.168.1.1"};
    }
    Lines applied(StaticAddrRequest request)
    {
        EXPECT_EQ(rd_apply_static_addrs(&request), 0);
        return calls();
    }
};

static const std::string kForever = " valid_lft forever preferred_lft forever";
static const std::string kProbe = "/bin/arping -D -c 1 -I eth0 192.168.1.10";
static const std::string kAdd = "/sbin/ip addr add 192.168.1.10/24 dev eth0" + kForever + " broadcast 192.168.1.255";
static const std::string kGateway = "/sbin/ip route replace default via 192.168.1.1 dev eth0 proto static onlink";

TEST_F(Address, BroadcastFollowsFromThePrefix)
{
    struct {
        const char *address;
        int prefix;
        std::string broadcast;
    } const cases[] = {
        {"192.168.1.10", 24, "192.168.1.255"},
        {"192.168.1.10", 32, "192.168.1.10"},
        {"192.168.1.10", 31, "192.168.1.11"},
        {"10.1.2.3", 1, "127.255.255.255"},
        {"10.1.2.3", 9, "10.127.255.255"},
        {"255.255.255.255", 30, "255.255.255.255"},
        {"192.168.1.10", 0, ""},
        {"192.168.1.10", 33, ""},
        {"192.168.1.10", -2147483648, ""},
        {"fe80::1", 32, ""},
        {"::10.1.2.3", 24, ""},
        {"192.168.1", 24, ""},
        {"999.1.1.1", 24, ""},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(rd_chg_static_ip("eth0", c.address, c.prefix), 0);
        const std::string with_prefix = std::string(c.address) + "/" + std::to_string(c.prefix);
        const std::string added = "4 rd_chg_static_ip eth0 add ip " + with_prefix + " rc=0";
        const bool has_broadcast = !c.broadcast.empty();
        EXPECT_EQ(calls(), Lines{"/sbin/ip addr add " + with_prefix + " dev eth0" + kForever +
                                 (has_broadcast ? " broadcast " + c.broadcast : "")});
        const std::string worked_out =
            "4 rd_get_broadcast_addr addr=" + std::string(c.address) + ", broadcast=" + c.broadcast;
        EXPECT_EQ(log(), has_broadcast ? (Lines{worked_out, added}) : Lines{added});
    }
}

TEST_F(Address, ProbeRefusesBadRequests)
{
    struct {
        DadRequest request;
        int code;
        std::string message;
    } cases[] = {
        {{"eth-0", "x", 99}, 12, "Invalid mgmt interface name. rc=12"},
        {{"eth0", "1.2.3.", 24}, 19, "Invalid IP Address"},
        {{"eth0", "192.168.1.x", 99}, 12, "Invalid IP Address"},
        {{"eth0", "192.168.1.10111", 24}, 11, "Invalid IP Address"},
        {{"eth0", "192.168.1.10", 33}, 14, "Invalid netmask"},
        {{"eth0", "", 4294967295}, 14, "Invalid netmask"},
    };
    cases[3].request.ipaddr[15] = '1'; // no NUL before the prefix length
    rig::write_file(kMarker, "as it was");
    for (const auto &c : cases) {
        EXPECT_EQ(rd_ipv4_dad_start(&c.request), c.code);
        EXPECT_EQ(log(), Lines{"2 rd_ipv4_dad_start ERROR - " + c.message});
    }
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(rig::read_file(kMarker), "as it was");
}

TEST_F(Address, ProbeLeavesAMarkerWhileTheAddressIsTaken)
{
    const DadRequest request{"eth0", "192.168.1.10", 24};
    answer("/bin/arping", 1);
    answer("/sbin/ip addr del", 0, 300);
    std::thread reader([] {
        EXPECT_TRUE(rig::wait_until([] { return rig::read_file("/rig/calls").find("addr del") != std::string::npos; }));
        EXPECT_FALSE(fs::exists(kMarker)) << "who finds the marker finds the address gone";
    });
    EXPECT_EQ(rd_ipv4_dad_start(&request), 0);
    reader.join();
    EXPECT_EQ(calls(), (Lines{kProbe, "/sbin/ip addr del 192.168.1.10/24 dev eth0"}));
    EXPECT_EQ(rig::read_file(kMarker), "IPv4DAD_CONFLICT=192.168.1.10");
    EXPECT_EQ(log(), Lines{"2 rd_ipv4_dad_start ERROR - IPv4 duplicate address detected on eth0: 192.168.1.10/24"});

    fs::remove("/rig/answers");
    answer("/bin/arping", 1);
    answer("/sbin/ip addr del", 2);
    EXPECT_EQ(rd_ipv4_dad_start(&request), 512);
    const DadRequest longest{"abcdefgh1234567", "111.111.111.111", 32};
    rd_ipv4_dad_start(&longest);
    EXPECT_EQ(calls().back(), "/sbin/ip addr del 111.111.111.111/32 dev abcdefgh1234567");
    EXPECT_EQ(rig::read_file(kMarker), "IPv4DAD_CONFLICT=111.111.111.111");

    fs::remove("/rig/answers");
    for (int i = 0; i < 2; i++) { // the second time there is no marker to delete
        log();
        EXPECT_EQ(rd_ipv4_dad_start(&request), 0);
        EXPECT_FALSE(fs::exists(kMarker));
        EXPECT_EQ(log(), Lines{"4 rd_ipv4_dad_start IPv4 static DAD OK"});
    }
}

TEST_F(Address, EmptyAddressIsProbedAsItIs)
{
    const DadRequest request{"eth0", "", 32};
    answer("/bin/arping", 2);
    EXPECT_EQ(rd_ipv4_dad_start(&request), 0);
    EXPECT_EQ(calls(), (Lines{"/bin/arping -D -c 1 -I eth0 ''", "/sbin/ip addr del /32 dev eth0"}));
    EXPECT_EQ(rig::read_file(kMarker), "IPv4DAD_CONFLICT=");
}

TEST_F(Address, Ipv4GetsAddressAndGateway)
{
    EXPECT_EQ(applied(ipv4()), (Lines{kAdd, kGateway}));
    StaticAddrRequest request = ipv4();
    request.dad = 7;
    EXPECT_EQ(applied(request), (Lines{kProbe, kAdd, kGateway}));
    request.address[0] = '\0'; // nothing to probe
    EXPECT_EQ(applied(request), Lines{kGateway});
    request.gateway[0] = '\0';
    EXPECT_EQ(applied(request), Lines{});
}

TEST_F(Address, FailuresAreOnlyLogged)
{
    answer("/sbin/ip", 2);
    EXPECT_EQ(applied(ipv4()), (Lines{kAdd, kGateway}));
    EXPECT_EQ(log(),
              (Lines{"4 rd_apply_static_addrs ", "4 rd_get_broadcast_addr addr=192.168.1.10, broadcast=192.168.1.255",
                     "4 rd_chg_static_ip eth0 add ip 192.168.1.10/24 rc=512",
                     "6 rd_apply_static_addrs changing static IP rc=512",
                     "4 rd_chg_static_gw ip route replace default via 192.168.1.1 dev eth0 onlink rc=512",
                     "6 rd_chg_static_gw changing static IP rc=512"}));
}

// A conflict whose address could be removed is no reason to leave out the rest; everything else is.
TEST_F(Address, WhatTheProbeRefusesIsNotConfigured)
{
    StaticAddrRequest request = ipv4();
    request.dad = 1;
    answer("/bin/arping", 1);
    answer("/sbin/ip addr del", 2);
    EXPECT_EQ(applied(request), (Lines{kProbe, "/sbin/ip addr del 192.168.1.10/24 dev eth0"}));
    request.prefix_len = -1;
    EXPECT_EQ(applied(request), Lines{});
    request = ipv4();
    request.dad = 1;
    strcpy(request.address, "192.168.100.1000"); // 16 characters
    log();
    EXPECT_EQ(applied(request).front(), "/bin/arping -D -c 1 -I eth0 192.168.100.100");
    EXPECT_EQ(log_of("rd_apply_static_addrs"), (Lines{"4 ", "2 ERROR - ipv4 address truncated: 192.168.100.1000"}));
}

TEST_F(Address, Ipv6ReplacesRoutesAndNeighbours)
{
    const std::string flush = "/sbin/ip neigh flush nud perm (loud)";
    StaticAddrRequest request{.dad = 1, .ipv6 = 2, .prefix_len = 64, .ifname = "eth0"};
    EXPECT_EQ(applied(request), Lines{flush});
    strcpy(request.address, "2001:db8::10");
    strcpy(request.gateway, "2001:db8::1");
    request.route[0] = {"aa:bb:cc:dd:ee:ff", "fe80::1", "2001:db8:1::", 48};
    request.route[1] = {"aa:bb:cc:dd:ee:00", "no-address", "2001:db8:2::", -1};
    log();
    EXPECT_EQ(applied(request),
              (Lines{"/sbin/ip addr add 2001:db8::10/64 dev eth0" + kForever, "/sbin/ip -6 route flush proto static",
                     "/sbin/ip route append default via 2001:db8::1 dev eth0 proto static onlink",
                     "/sbin/ip route append 2001:db8:1::/48 via fe80::1 dev eth0 proto static onlink",
                     "/sbin/ip route append 2001:db8:2::/-1 via no-address dev eth0 proto static onlink", flush,
                     "/sbin/ip neigh replace fe80::1 lladdr aa:bb:cc:dd:ee:ff nud perm dev eth0 (loud)"}));
    EXPECT_EQ(log(), (Lines{"4 rd_apply_static_addrs ", "4 rd_chg_static_ip eth0 add ip 2001:db8::10/64 rc=0",
                            "4 rd_chg_static_gw ipv6 route flush proto static rc=0",
                            "4 rd_chg_static_gw ip route append default via 2001:db8::1 dev eth0 onlink rc=0",
                            "4 rd_ip6_static_route route append 2001:db8:1::/48 via fe80::1 dev eth0 rc=0",
                            "4 rd_ip6_static_route route append 2001:db8:2::/-1 via no-address dev eth0 rc=0",
                            "4 rd_update_neighbor_cache neighbor cache flush rc=0",
                            "4 rd_update_neighbor_cache update fe80::1 eth0 rc=0"}));
}

TEST_F(Address, AutoconfigurationOnlyIgnoresTheRest)
{
    interface("eth0");
    StaticAddrRequest request = ipv4();
    request.autoconfig_only = 1;
    EXPECT_EQ(applied(request), Lines{});
    EXPECT_EQ(log_of("rd_configure_ipv6"), Lines{"4 eth0 enable:1 autoconfig:0"});
    EXPECT_EQ(ipv6("eth0"), "003");
    request.autoconfig = 1;
    applied(request);
    EXPECT_EQ(ipv6("eth0"), "013");
}

TEST_F(Address, FullFieldsAreCutToTheirWidth)
{
    StaticAddrRequest request;
    memset(&request, '1', sizeof request);
    request.autoconfig_only = 0;
    strcpy(request.route[1].router, "fe80::2"); // its neighbour is entered, with the link-layer address before it
    const std::string name(15, '1');
    const std::string text(45, '1');
    const Lines commands = applied(request);
    ASSERT_EQ(commands.size(), 7U);
    EXPECT_EQ(commands[6],
              "/sbin/ip neigh replace fe80::2 lladdr " + std::string(17, '1') + " nud perm dev " + name + " (loud)");
    EXPECT_EQ(commands[0], "/sbin/ip addr add " + text + "/825 dev " + name + kForever);
    EXPECT_EQ(commands[2], "/sbin/ip route append default via " + text + " dev " + name + " proto static onlink");
    EXPECT_EQ(commands[3],
              "/sbin/ip route append " + text + "/825 via " + text + " dev " + name + " proto static onlink");
}
