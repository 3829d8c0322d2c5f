#include "iface/link.h"

#include "rig/rig.h"

#include <unistd.h>

using rig::Lines;

class Link : public rig::Controller
{
  protected:
    static void operstate(const std::string &name, const std::string &state)
    {
        rig::write_file("/sys/class/net/" + name + "/operstate", state);
    }
};

TEST_F(Link, MacvlanIsPrivateWithAnAddressAndPassthruWithout)
{
    answer("/sbin/ip link add macv3", 2);
    rd_add_macvlan("macv2", "02:00:00:00:00:22", "eth2");
    rd_add_macvlan("macv3", "", "eth3");
    rd_add_macvlan("macve0", nullptr, "usbe0");
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link add macv2 link eth2 address 02:00:00:00:00:22 type macvlan mode private",
                              "/sbin/ip link add macv3 link eth3 type macvlan mode passthru nopromisc",
                              "/sbin/ip link add macve0 link usbe0 type macvlan mode passthru nopromisc"}));
    EXPECT_EQ(log(), (Lines{"4 rd_add_macvlan macvlan macv2 lower eth2 rc=0",
                            "4 rd_add_macvlan macvlan macv3 lower eth3 rc=512",
                            "4 rd_add_macvlan macvlan macve0 lower usbe0 rc=0"}));
}

TEST_F(Link, DeleteWarnsWhenItFails)
{
    answer("/sbin/ip link del dev macv3", 1);
    EXPECT_EQ(rd_del_sl_macvlan("macv2"), 0);
    EXPECT_EQ(rd_del_sl_macvlan("macv3"), 256);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link del dev macv2", "/sbin/ip link del dev macv3"}));
    EXPECT_EQ(log(),
              (Lines{"4 rd_del_sl_macvlan deleting interface macv2", "4 rd_del_sl_macvlan deleting interface macv3",
                     "3 rd_del_sl_macvlan WARN - failed to reset macv3 rc=256"}));
}

TEST_F(Link, StateActsOnTheFirstFifteenCharacters)
{
    EXPECT_EQ(rd_set_link_state("abcdefgh12345678", 4294967295), 0);
    EXPECT_EQ(rd_set_link_state("eth_1", 0), 12);
    EXPECT_EQ(calls(), Lines{"/sbin/ip link set dev abcdefgh1234567 up"});
    EXPECT_EQ(log(), (Lines{"4 rd_link_control set abcdefgh1234567 up rc=0",
                            "2 rd_link_control ERROR - Invalid interface name"}));
}

TEST_F(Link, MacChangeEndsWithTheLinkUp)
{
    answer("/sbin/ip link set dev eth1 down", 1);
    answer("/sbin/ip link set dev eth1 address", 3);
    EXPECT_EQ(rd_set_iface_mac("eth1", "02:00:00:00:00:01"), 0);
    EXPECT_EQ(rd_set_iface_mac("eth2", "02:00:00:00:00:02"), 0);
    answer("/sbin/ip link set dev eth2 up", 3);
    EXPECT_EQ(rd_set_iface_mac("eth2", ""), 768);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev eth1 down", "/sbin/ip link set dev eth1 address 02:00:00:00:00:01",
                              "/sbin/ip link set dev eth1 up", "/sbin/ip link set dev eth2 down",
                              "/sbin/ip link set dev eth2 address 02:00:00:00:00:02", "/sbin/ip link set dev eth2 up",
                              "/sbin/ip link set dev eth2 down", "/sbin/ip link set dev eth2 address ''",
                              "/sbin/ip link set dev eth2 up"}));
    EXPECT_EQ(log(), (Lines{"4 rd_link_control set eth1 down rc=256",
                            "2 rd_set_iface_mac ERROR - failed to set eth1 mac 02:00:00:00:00:01 rc=768",
                            "4 rd_link_control set eth1 up rc=0", "4 rd_set_iface_mac set eth1 up rc=0",
                            "4 rd_link_control set eth2 down rc=0", "4 rd_link_control set eth2 up rc=0",
                            "4 rd_set_iface_mac set eth2 up rc=0", "4 rd_link_control set eth2 down rc=0",
                            "4 rd_link_control set eth2 up rc=768", "4 rd_set_iface_mac set eth2 up rc=768"}));
}

TEST_F(Link, WaitWithoutAStateOnlyLooksForTheInterface)
{
    operstate("eth0", "down\n");
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 1, nullptr), 0);
    EXPECT_LT(zclock_mono() - start, 300);
    EXPECT_EQ(log(), Lines{});
    EXPECT_EQ(rd_wait_for_iface_ready("eth9", 0, nullptr), 0);
    EXPECT_GE(zclock_mono() - start, 999) << "less than a second counts as one";
    EXPECT_EQ(log(), (Lines{"2 rd_wait_for_iface_ready ERROR - Unable to open eth9 No such file or directory",
                            "4 rd_wait_for_iface_ready eth9 is not ready",
                            "2 rd_wait_for_iface_ready ERROR - Unable to open eth9 No such file or directory",
                            "4 rd_wait_for_iface_ready eth9 is not ready"}));
}

TEST_F(Link, WaitTakesTenSecondsForALinkThatStaysDown)
{
    struct sigaction action {
    };
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr); // without SA_RESTART, as SIGCHLD in the daemon
    const itimerval often{{0, 70'000}, {0, 70'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    operstate("eth0", "unknown\n");
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 10, "up"), 0);
    const int64_t took = zclock_mono() - start;
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(took, 9'990);
    EXPECT_LE(took, 11'000);
    EXPECT_EQ(log(), Lines(20, "4 rd_wait_for_iface_ready eth0 is not ready"));
}

TEST_F(Link, WaitEndsWhenTheLinkComesUp)
{
    operstate("eth0", "");
    std::thread cable([] {
        usleep(700'000);
        operstate("eth0", "up\n");
    });
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 10, "up"), 1);
    cable.join();
    EXPECT_EQ(log(),
              (Lines{"4 rd_wait_for_iface_ready eth0 is not ready", "4 rd_wait_for_iface_ready eth0 is not ready",
                     "4 rd_wait_for_iface_ready eth0 is up now"}));
}

TEST_F(Link, VlanIsCreatedConfiguredAndSetUp)
{
    operstate("eth0.4094", "down\n");
    rig::write_file("/proc/sys/net/ipv6/conf/eth0.4094/disable_ipv6", "0\n");
    answer("/sbin/ip link set dev eth0.4094 up", 5);
    EXPECT_EQ(rd_add_vlan("eth0", 4094, 0, 1, 2), 1280);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link add link eth0 name eth0.4094 type vlan id 4094",
                              "/sbin/ip link set dev eth0.4094 up"}));
    EXPECT_EQ(log(),
              (Lines{"4 rd_add_vlan vlan eth0.4094 lower eth0 id 4094 rc=0",
                     "4 rd_configure_ipv6 eth0.4094 enable:0 autoconfig:1",
                     "5 rd_ipv6_setting eth0.4094 disable_ipv6 val:1 OK", "4 rd_add_vlan ipv6 configured for eth0.4094",
                     "4 rd_link_control set eth0.4094 up rc=1280"}));
}

TEST_F(Link, VlanThatCannotBeCreatedIsLeftAlone)
{
    answer("/sbin/ip link add", 2);
    EXPECT_EQ(rd_add_vlan("abcdefgh1234567", -2147483648, 1, 1, 0), 512);
    EXPECT_EQ(calls(),
              Lines{"/sbin/ip link add link abcdefgh1234567 name abcdefgh1234567.-2147483648 type vlan id -214"});
    EXPECT_EQ(log(), Lines{"4 rd_add_vlan vlan abcdefgh1234567.-2147483648 lower abcdefgh1234567 id -214 rc=512"});
}
