// What takes its time, or has more cases than a transcript would bear.

#include "iface/address.h"
#include "iface/commands.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "rig/rig.h"

#include <unistd.h>

using rig::Lines;

class Iface : public rig::Controller
{
};

static void operstate(const std::string &name, const std::string &state)
{
    rig::write_file("/sys/class/net/" + name + "/operstate", state);
}

TEST_F(Iface, WaitWithoutAStateOnlyLooksForTheInterface)
{
    operstate("eth0", "down\n");
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 1, nullptr), 0);
    EXPECT_LT(zclock_mono() - start, 300);
    EXPECT_EQ(rd_wait_for_iface_ready("eth9", 0, nullptr), 0);
    EXPECT_GE(zclock_mono() - start, 999) << "less than a second counts as one";
    EXPECT_EQ(log().size(), 4U) << "two tries, of eth9";
}

TEST_F(Iface, WaitTakesTenSecondsForALinkThatStaysDown)
{
    operstate("eth0", "unknown\n");
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 10, "up"), 0);
    const int64_t took = zclock_mono() - start;
    EXPECT_GE(took, 9'990);
    EXPECT_LE(took, 11'000);
    EXPECT_EQ(log(), Lines(20, "4 rd_wait_for_iface_ready eth0 is not ready"));
}

TEST_F(Iface, WaitEndsWhenTheLinkComesUp)
{
    operstate("eth0", "");
    std::jthread cable([] {
        usleep(700'000);
        operstate("eth0", "up\n");
    });
    EXPECT_EQ(rd_wait_for_iface_ready("eth0", 10, "up"), 1);
    EXPECT_EQ(log(),
              (Lines{"4 rd_wait_for_iface_ready eth0 is not ready", "4 rd_wait_for_iface_ready eth0 is not ready",
                     "4 rd_wait_for_iface_ready eth0 is up now"}));
}

TEST_F(Iface, BroadcastFollowsFromThePrefix)
{
    const std::tuple<std::string, int, std::string> cases[] = {
        {"192.168.1.10", 24, " broadcast 192.168.1.255"},
        {"192.168.1.10", 32, " broadcast 192.168.1.10"},
        {"192.168.1.10", 31, " broadcast 192.168.1.11"},
        {"10.1.2.3", 1, " broadcast 127.255.255.255"},
        {"10.1.2.3", 9, " broadcast 10.127.255.255"},
        {"255.255.255.255", 30, " broadcast 255.255.255.255"},
        {"192.168.1.10", 0, ""},
        {"192.168.1.10", 33, ""},
        {"192.168.1.10", -2147483648, ""},
        {"fe80::1", 32, ""},
        {"::10.1.2.3", 24, ""},
        {"192.168.1", 24, ""},
        {"999.1.1.1", 24, ""},
    };
    for (const auto &[address, prefix, broadcast] : cases) {
        EXPECT_EQ(rd_chg_static_ip("eth0", address.c_str(), prefix), 0);
        EXPECT_EQ(calls(), Lines{"/sbin/ip addr add " + address + "/" + std::to_string(prefix) +
                                 " dev eth0 valid_lft forever preferred_lft forever" + broadcast});
    }
}

TEST_F(Iface, WhoFindsTheMarkerFindsTheAddressGone)
{
    const Ipv4DadRequest request{"eth0", "192.168.1.10", 24};
    const std::string marker = "/run/q7net/dhcp/ipv4_dad_conflict";
    answer("/bin/arping", 1);
    answer("/sbin/ip addr del", 0, 300);
    {
        const std::jthread reader([&marker] {
            EXPECT_TRUE(rig::wait_until([] { return rig::read_file("/rig/calls").find("del") != std::string::npos; }));
            EXPECT_FALSE(fs::exists(marker));
        });
        EXPECT_EQ(rd_ipv4_dad_start(&request), 0);
    }
    EXPECT_TRUE(fs::exists(marker));
}

// T where the change is a transition, over autoconfig 0, 1 and 5 (a column group each) with modes -1, 0, 1 and 2.
TEST_F(Iface, Ipv6TransitionDependsOnWhatRuns)
{
    const std::string conf = "/proc/sys/net/ipv6/conf/eth0/";
    const std::pair<std::string, std::string> cases[] = {
        // accept_ra, disable_ipv6 and addr_gen_mode; - for a file that does not exist
        {"000", "..TT TTTT TTTT "}, {"002", ".TT. TTTT TTTT "}, {"003", ".TT. TTTT TTTT "}, {"00-", "..TT TTTT TTTT "},
        {"100", "TTTT ..TT TTTT "}, {"102", "TTTT .TT. TTTT "}, {"10-", "TTTT ..TT TTTT "}, {"200", "..TT TTTT TTTT "},
        {"-02", ".TT. TTTT TTTT "}, {"020", "..TT TTTT TTTT "}, {"110", ".... .... .... "}, {"012", ".... .... .... "},
        {"1-0", ".... .... .... "}, {"---", ".... .... .... "},
    };
    for (const auto &[values, expected] : cases) {
        std::string transitions;
        for (const int autoconfig : {0, 1, 5}) {
            for (const int mode : {-1, 0, 1, 2}) {
                fs::remove_all(conf);
                fs::create_directories(conf);
                for (size_t i = 0; i < 3; i++) {
                    const char *const names[] = {"accept_ra", "disable_ipv6", "addr_gen_mode"};
                    if (values[i] != '-') {
                        rig::write_file(conf + names[i], values.substr(i, 1) + "\n");
                    }
                }
                rd_configure_ipv6("eth0", {1, autoconfig, mode});
                const std::string messages = platform_log.all();
                platform_log.take();
                transitions += messages.find("transition on eth0\n5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK") !=
                                       std::string::npos
                                   ? "T"
                                   : ".";
                EXPECT_EQ(rig::read_file(conf + "accept_ra"), autoconfig == 0 ? "0\n" : "1\n");
                EXPECT_EQ(rig::read_file(conf + "disable_ipv6"), "0\n");
                EXPECT_TRUE(mode == -1 || rig::read_file(conf + "addr_gen_mode") == (mode == 0 ? "0\n" : "2\n"));
            }
            transitions += " ";
        }
        EXPECT_EQ(transitions, expected) << values;
    }
}
