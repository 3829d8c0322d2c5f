#include "hostnic/init_nics.h"

#include "hostnic/sideband.h"
#include "rig/rig.h"

using rig::Lines;

class InitNics : public rig::Controller
{
  protected:
    InitNics()
    {
        for (const char *name : {"bond0", "eth5", "sd0", "sd1", "sd2", "macv2", "macv3", "macve0"}) {
            interface(name);
        }
    }
    static SmartnicRequest smartnic(uint32_t mode, int32_t count)
    {
        return {.mode = mode,
                .count = count,
                .snic_mac = {"02::a", "02::b", "02::c"},
                .lower = "bond0",
                .mif_mac = "02::f",
                .physical = "eth5"};
    }
    static Lines mac_set(const std::string &name, const std::string &mac)
    {
        const std::string set = "/sbin/ip link set dev " + name;
        return {set + " down", set + " address " + mac, set + " up"};
    }
};

TEST_F(InitNics, SmartnicSetUp)
{
    SmartnicRequest request = smartnic(1, 2);
    answer("/sbin/ip link delete dev bond0", 1);
    answer("/sbin/ip addr add fde1:53ba:e9a0:de42::1", 2);
    EXPECT_EQ(rd_init_smartnic(&request), 512);
    const std::string forever = " valid_lft forever preferred_lft forever";
    Lines expected = {"/sbin/ip link delete dev bond0"};
    for (const std::string &step : mac_set("eth5", "00:51:50:10:10:60")) {
        expected.push_back(step);
    }
    for (const char *step : {"link add bond0 link eth5 address 02::f type macvlan mode private",
                             "link add sd0 link eth5 address 02::a type macvlan mode private", "link set dev sd0 up",
                             "addr add fde1:53ba:e9a0:de41::1/64 dev sd0 valid_lft forever preferred_lft forever",
                             "link add sd1 link eth5 address 02::b type macvlan mode private", "link set dev sd1 up",
                             "addr add fde1:53ba:e9a0:de42::1/64 dev sd1 valid_lft forever preferred_lft forever"}) {
        expected.push_back("/sbin/ip " + std::string(step));
    }
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(ipv6("bond0"), "123");
    EXPECT_EQ(ipv6("sd0") + ipv6("sd1"), "003003");
    EXPECT_EQ(log_of("rd_init_smartnic"),
              (Lines{"4 ", "4 deleting interface bond0", "2 ERROR - failed to delete bond0", "4 set sd0 up rc=0",
                     "4 set sd0 static addr rc=0", "4 set sd1 up rc=0", "4 set sd1 static addr rc=512"}));

    request = smartnic(1, -5);
    answer("/sbin/ip link set dev eth5 up", 3);
    calls();
    EXPECT_EQ(rd_init_smartnic(&request), 768);
    EXPECT_EQ(calls().size(), 5U);
}

TEST_F(InitNics, SmartnicTearDown)
{
    const SmartnicRequest request = smartnic(0, 1);
    answer("/sbin/ip link delete dev sd3", 1);
    EXPECT_EQ(rd_init_smartnic(&request), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link delete dev sd0", "/sbin/ip link delete dev sd1",
                              "/sbin/ip link delete dev sd2", "/sbin/ip link delete dev sd3",
                              "/sbin/ip link delete dev bond0", "/sbin/ip link set dev eth5 down",
                              "/sbin/ip link set dev eth5 address 02::f", "/sbin/ip link set dev eth5 up",
                              "/sbin/ip link add bond0 link eth5 type macvlan mode passthru nopromisc"}));
    EXPECT_EQ(log_of("rd_init_smartnic"),
              (Lines{"4 ", "4 deleting smartnic interface sd0", "4 deleting smartnic interface sd1",
                     "4 deleting smartnic interface sd2", "4 deleting smartnic interface sd3",
                     "3 WARN - failed to delete sd3", "4 deleting interface bond0"}));
}

TEST_F(InitNics, SmartnicChecksEverythingFirst)
{
    const auto with = [](auto change) {
        SmartnicRequest request = smartnic(1, 2);
        change(request);
        return request;
    };
    const std::tuple<SmartnicRequest, int, std::string> cases[] = {
        {with([](SmartnicRequest &r) { r.mode = 2, r.count = 9; }), 14, "invalid mode"},
        {with([](SmartnicRequest &r) { r.count = 5, r.lower[0] = ';'; }), 14, "invalid snic count"},
        {with([](SmartnicRequest &r) { r.lower[0] = ';', r.physical[0] = ' '; }), 12, "invalid lower interface name"},
        {with([](SmartnicRequest &r) { memset(r.lower, 'x', sizeof r.lower); }), 11, "invalid lower interface name"},
        {with([](SmartnicRequest &r) { r.physical[0] = ' ', r.mif_mac[0] = 0; }), 12,
         "invalid physical interface name"},
        {with([](SmartnicRequest &r) { memset(r.physical, 'x', 258); }), 11, "invalid physical interface name"},
        {with([](SmartnicRequest &r) { r.mif_mac[0] = 0; }), 12, "Invalid mif mac address"},
        {with([](SmartnicRequest &r) { memset(r.mif_mac, 'a', sizeof r.mif_mac); }), 12, "Invalid mif mac address"},
        {with([](SmartnicRequest &r) { r.snic_mac[1][0] = 0; }), 12, "Invalid snic mac address 1"},
        {with([](SmartnicRequest &r) { r.snic_mac[0][0] = '-'; }), 12, "Invalid snic mac address 0"},
    };
    for (const auto &[request, code, message] : cases) {
        EXPECT_EQ(rd_init_smartnic(&request), code);
        EXPECT_EQ(log(), (Lines{"4 rd_init_smartnic ", "2 rd_init_smartnic ERROR - " + message}));
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(InitNics, FrontdedicatedAndUsbNic)
{
    const FrontdedicatedRequest front{.link_state = 7, .autoneg = 3, .ifname = "eth5", .mac = ""};
    answer("/sbin/ip link set dev eth5 address", 1);
    EXPECT_EQ(rd_init_frontdedicated(&front), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev eth5 down", "/sbin/ip link set dev eth5 address ''",
                              "/sbin/ip link set dev eth5 up", "/sbin/ip link set dev eth5 up",
                              "/usr/sbin/ethtool -s eth5 autoneg on", "/sbin/ip link set dev eth5 up"}));
    EXPECT_EQ(log_of("rd_init_frontdedicated"), (Lines{"4 set eth5 hwaddr rc=0", "4 set eth5 link 7 rc=0"}));
    const FrontdedicatedRequest untuned{.link_state = 1, .autoneg = -1, .speed = 5, .ifname = "eth5", .mac = "02::1"};
    EXPECT_EQ(rd_init_frontdedicated(&untuned), 0);
    EXPECT_EQ(calls().size(), 4U) << "no ethtool";

    EXPECT_EQ(ipv6("eth5"), "123");
    const FrontdedicatedRequest forced{
        .link_state = 1, .autoneg = 0, .speed = 12345, .duplex = 1, .ifname = "eth5", .mac = "02::1"};
    EXPECT_EQ(rd_init_frontdedicated(&forced), 0) << "as the values stand";
    EXPECT_EQ(calls()[4], "/usr/sbin/ethtool -s eth5 autoneg off speed 12345 duplex full");
    interface("eth5");
    log();

    const FlopUsbNicRequest usb{.link_state = 0, .ifname = "eth5", .mac = "02::1"};
    answer("/sbin/ip link set dev eth5 down", 2);
    EXPECT_EQ(rd_init_flop_usb_nic(&usb), 512);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev eth5 down", "/sbin/ip link set dev eth5 address 02::1",
                              "/sbin/ip link set dev eth5 up", "/sbin/ip link set dev eth5 down"}));
    EXPECT_EQ(log_of("rd_init_flop_usb_nic"), (Lines{"4 set eth5 hwaddr rc=0", "4 set eth5 link 0 rc=512"}));
    EXPECT_EQ(ipv6("eth5"), "123");

    FrontdedicatedRequest bad_front{.ifname = "a b", .mac = "0x"};
    FlopUsbNicRequest bad_usb{.ifname = "a b", .mac = "0x"};
    EXPECT_EQ(rd_init_frontdedicated(&bad_front), 12);
    EXPECT_EQ(rd_init_flop_usb_nic(&bad_usb), 12);
    bad_front.mac[0] = bad_usb.mac[0] = '\0';
    EXPECT_EQ(rd_init_frontdedicated(&bad_front), 12);
    EXPECT_EQ(rd_init_flop_usb_nic(&bad_usb), 12);
    EXPECT_EQ(log(), (Lines{"2 rd_init_frontdedicated ERROR - Invalid mac address",
                            "2 rd_init_flop_usb_nic ERROR - Invalid mac address",
                            "2 rd_init_frontdedicated ERROR - invalid interface name",
                            "2 rd_init_flop_usb_nic ERROR - invalid interface name"}));
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(InitNics, SidebandMacvlansComeAndGo)
{
    SidebandRequest request{.operation = 1, .macv2 = 1, .macv3 = 2, .macve0 = 3, .macv2_mac = "x y"};
    memset(request.macv3_mac, '3', sizeof request.macv3_mac); // unchecked, but cut to its field
    answer("/sbin/ip link add", 1);
    EXPECT_EQ(rd_sideband_control(&request), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link add macv2 link eth2 address 'x y' type macvlan mode private",
                              "/sbin/ip link add macv3 link eth3 address 33333333333333333 type macvlan mode private",
                              "/sbin/ip link add macve0 link usbe0 type macvlan mode passthru nopromisc"}));
    answer("/sbin/ip link del dev macv2", 1);
    answer("/sbin/ip link del dev macve0", 2);
    request = {.operation = 0, .macv2 = 1, .macve0 = 1};
    EXPECT_EQ(rd_sideband_control(&request), 512);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link del dev macv2", "/sbin/ip link del dev macve0"}));
    request = {.operation = 2, .macv2 = 1, .macv3 = 1};
    EXPECT_EQ(rd_sideband_control(&request), 0) << "the last deletion's result";
    calls();
    for (const uint32_t operation : {1U, 2U}) {
        request = {.operation = operation};
        EXPECT_EQ(rd_sideband_control(&request), 0);
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(InitNics, ResetDeletesAndSetsMacAddresses)
{
    ResetMgmtRequest request{.set_mac = 1, .macsec = 1, .ifname = "bond0", .mac = "02::1"};
    answer("/sbin/ip link del", 1);
    answer("/sbin/ip link set dev eth3 up", 1);
    answer("/sbin/ip link set dev eth2 up", 2);
    EXPECT_EQ(rd_reset_mgmt_iface(&request), 768);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link del dev bond0", "/sbin/ip link del dev macsec0",
                              "/sbin/ip link set dev eth3 down", "/sbin/ip link set dev eth3 address 02::1",
                              "/sbin/ip link set dev eth3 up", "/sbin/ip link set dev eth2 down",
                              "/sbin/ip link set dev eth2 address 02::1", "/sbin/ip link set dev eth2 up"}));
    EXPECT_EQ(log_of("rd_reset_mgmt_iface"),
              (Lines{"4 deleting interface bond0", "3 WARN - failed to reset bond0 rc=256",
                     "4 deleting macsec interface", "3 WARN - failed to reset macsec interface rc=256"}));
    request = {.ifname = "bond0"};
    EXPECT_EQ(rd_reset_mgmt_iface(&request), 256);
    EXPECT_EQ(calls(), Lines{"/sbin/ip link del dev bond0"});
    log();

    const std::tuple<ResetMgmtRequest, int, std::string> cases[] = {
        {{.set_mac = 1, .ifname = "bond-0"}, 13, "missing mac addresses"},
        {{.set_mac = 1, .ifname = "bond-0", .mac = "0x"}, 12, "Invalid mac address"},
        {{.set_mac = 0, .ifname = "bond-0", .mac = "0x"}, 12, "Invalid interface name"},
    };
    for (const auto &[bad, code, message] : cases) {
        EXPECT_EQ(rd_reset_mgmt_iface(&bad), code);
        EXPECT_EQ(log(), Lines{"2 rd_reset_mgmt_iface ERROR - " + message});
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(InitNics, FlushTakesAddressesAndRoute)
{
    MifFlushRequest request{.ipv6_default_route = 1, .ifname = "bond0"};
    answer("/sbin/ip addr flush", 1);
    EXPECT_EQ(rd_mif_addr_flush(&request), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip addr flush dev bond0 scope global", "/sbin/ip -6 route flush default"}));
    answer("/sbin/ip -6", 2);
    EXPECT_EQ(rd_mif_addr_flush(&request), 512);
    request.ipv6_default_route = 0;
    EXPECT_EQ(rd_mif_addr_flush(&request), 256);
    memset(request.ifname, 'x', 129);
    EXPECT_EQ(rd_mif_addr_flush(&request), 11);
    const std::string flush = "2 rd_mif_addr_flush ERROR - failed to flush addresses on bond0 rc=256";
    EXPECT_EQ(log(), (Lines{flush, flush, "2 rd_mif_addr_flush ERROR - failed to flush IPv6 default gateway rc=512",
                            flush, "2 rd_mif_addr_flush ERROR - Invalid mgmt interface name"}));
}
