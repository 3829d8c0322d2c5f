#include "iface/tuning.h"

#include "rig/rig.h"

using rig::Lines;

class Tuning : public rig::Controller
{
  protected:
    Tuning() { interface("eth1"); }
    static int tune(uint32_t autoneg, uint32_t speed, uint32_t duplex, uint32_t link_state,
                    const std::string &ifname = "eth1")
    {
        LinkTuningRequest request{autoneg, speed, duplex, link_state, ""};
        strcpy(request.ifname, ifname.c_str());
        return rd_link_tuning(&request);
    }
};

TEST_F(Tuning, RefusesBadArguments)
{
    EXPECT_EQ(tune(2, 0, 0, 0), 12);
    EXPECT_EQ(tune(4294967295, 100, 0, 0), 12);
    EXPECT_EQ(tune(1, 0, 0, 0, ""), 12);
    EXPECT_EQ(tune(1, 0, 0, 0, "eth-1"), 12);
    EXPECT_EQ(tune(1, 0, 0, 0, std::string(129, '1')), 12);
    EXPECT_EQ(log(), Lines(5, "2 rd_link_tuning ERROR - Invalid arguments"));
    EXPECT_EQ(tune(0, 11, 0, 0, "eth 1"), 14) << "a space is accepted in a name";
    EXPECT_EQ(tune(0, 11, 0, 0, std::string(128, '1')), 14);
    log();
    for (const uint32_t speed : {0U, 11U, 1000000U, 4294967295U}) {
        EXPECT_EQ(tune(0, speed, 1, 1), 14);
    }
    EXPECT_EQ(log(), Lines(4, "2 rd_link_tuning ERROR - Invalid nic speed value"));
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Tuning, BringsTheLinkUpFirst)
{
    const std::string up = "/sbin/ip link set dev eth1 up";
    for (const uint32_t speed : {10U, 100U, 1000U, 2500U, 10000U, 20000U, 25000U, 40000U, 50000U, 100000U}) {
        EXPECT_EQ(tune(0, speed, 0, 1), 0);
        EXPECT_EQ(calls(),
                  (Lines{up, "/usr/sbin/ethtool -s eth1 autoneg off speed " + std::to_string(speed) + " duplex half"}));
    }
    EXPECT_EQ(tune(1, 7, 9, 1), 0) << "a speed that is not used may be anything";
    EXPECT_EQ(calls(), (Lines{up, "/usr/sbin/ethtool -s eth1 autoneg on"}));
    log();
    answer("/usr/sbin/ethtool", 75);
    EXPECT_EQ(tune(0, 1000, 2, 0), 0);
    EXPECT_EQ(calls(), (Lines{up, "/usr/sbin/ethtool -s eth1 autoneg off speed 1000 duplex full",
                              "/sbin/ip link set dev eth1 down"}));
    EXPECT_EQ(log(), (Lines{"4 rd_link_tuning iface:eth1 autoneg:0 speed:1000 duplex:2",
                            "4 rd_link_control set eth1 up rc=0", "4 rd_wait_for_iface_ready eth1 is up now",
                            "4 rd_set_link_tuning eth1 autoneg:0 speed:1000 duplex:2 rc=19200",
                            "4 rd_link_control set eth1 down rc=0"}));
}

TEST_F(Tuning, DoesNotWaitForALinkThatCannotComeUp)
{
    answer("/sbin/ip link set", 1);
    const int64_t start = zclock_mono();
    EXPECT_EQ(tune(1, 0, 0, 0), 256);
    EXPECT_LT(zclock_mono() - start, 400);
    EXPECT_EQ(log_of("rd_link_tuning").back(), "2 ERROR - failed to set link state 0 for eth1 rc=256");
    tune(1, 0, 0, 1);
    EXPECT_EQ(log_of("rd_set_link_tuning"),
              (Lines{"2 ERROR - unable to set eth1 link up rc=256", "4 eth1 autoneg:1 speed:0 duplex:0 rc=0"}));
}

TEST_F(Tuning, MinusOneLeavesTheSettingsAlone)
{
    rd_set_link_tuning("eth1", -1, 1000, 1);
    EXPECT_EQ(log(), Lines{});
    rd_set_link_tuning("eth1", 0, 2147483647, 1);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev eth1 up",
                              "/usr/sbin/ethtool -s eth1 autoneg off speed 214748 duplex full"}));
}
