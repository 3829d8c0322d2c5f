#include "iface/bond.h"

#include "rig/rig.h"

using rig::Lines;

static const std::string kBonding = "/sys/class/net/bond0/bonding/";

class Bond : public rig::Controller
{
  protected:
    Bond()
    {
        interface("bond0");
        fs::create_directories(kBonding);
    }
    static Lines settings()
    {
        Lines contents;
        for (const char *name : {"miimon", "downdelay", "primary", "all_slaves_active", "active_slave"}) {
            contents.push_back(rig::read_file(kBonding + name));
        }
        return contents;
    }
};

TEST_F(Bond, ActiveBackupIsMonitored)
{
    const char lowers[3][16] = {"eth0", "", "eth2"};
    answer("/sbin/ip link set dev eth0 down", 1);
    answer("/sbin/ip link set dev eth2 master", 2);
    rd_add_bond("bond0", lowers, 3, "02:00:00:00:00:01", 1, 1, 0, 2);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link add dev bond0 address 02:00:00:00:00:01 type bond mode active-backup",
                              "/sbin/ip link set dev bond0 up", "/sbin/ip link set dev eth0 down",
                              "/sbin/ip link set dev eth0 master bond0", "/sbin/ip link set dev eth2 down",
                              "/sbin/ip link set dev eth2 master bond0"}));
    EXPECT_EQ(settings(), (Lines{"1000", "5000", "eth0", "1\n", "(none)"}));
    EXPECT_EQ(ipv6("bond0"), "002");
    Lines messages = log();
    std::erase_if(messages, [](const std::string &m) { return m.find("rd_ipv6_setting") != std::string::npos; });
    EXPECT_EQ(messages, (Lines{"4 rd_add_bond bond bond0 mac 02:00:00:00:00:01 mode active-backup rc=0",
                               "4 rd_configure_ipv6 bond0 enable:1 autoconfig:0", "4 rd_link_control set bond0 up rc=0",
                               "4 rd_link_control set eth0 down rc=256",
                               "2 rd_add_bond ERROR - failed to set link down on eth0 rc=256",
                               "4 rd_add_bond enjoin eth0 to bond0 rc=0", "4 rd_link_control set eth2 down rc=0",
                               "4 rd_add_bond enjoin eth2 to bond0 rc=512"}));

    const char only_second[2][16] = {"", "eth2"};
    rd_add_bond("bond0", only_second, 2, "02:00:00:00:00:01", 1, 0, 0, -1);
    EXPECT_EQ(settings()[2], "") << "the primary is the first slot, even an empty one";
}

TEST_F(Bond, BroadcastHasNoSettings)
{
    const char lowers[2][16] = {"", "usb1"};
    rd_add_bond("bond0", lowers, 2, "02:00:00:00:00:01", 0, 0, 0, -1);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link add dev bond0 address 02:00:00:00:00:01 type bond mode broadcast",
                              "/sbin/ip link set dev bond0 up", "/sbin/ip link set dev usb1 down",
                              "/sbin/ip link set dev usb1 master bond0"}));
    EXPECT_EQ(settings(), Lines(5, "(none)"));
}

TEST_F(Bond, FailedCreationSkipsOnlyItsOwnSteps)
{
    fs::remove_all("/sys/class/net/bond0");
    const char lowers[1][16] = {""};
    answer("/sbin/ip link add", 2);
    rd_add_bond("bond0", lowers, 1, "02:00:00:00:00:01", 2, 1, 1, 0);
    EXPECT_EQ(calls().size(), 1U);
    const std::string why = "No such file or directory";
    EXPECT_EQ(log(), (Lines{"4 rd_add_bond bond bond0 mac 02:00:00:00:00:01 mode active-backup rc=512",
                            "2 rd_add_bond ERROR - unable to set miimon for bond0 " + why,
                            "2 rd_add_bond ERROR - unable to set downdelay for bond0 " + why,
                            "2 rd_add_bond ERROR - unable to set bond0 primary lower  " + why,
                            "2 rd_add_bond ERROR - unable to set bond0 all_*****s_active " + why}));
}

TEST_F(Bond, ConjoinEnslavesAndMakesTheFirstPrimary)
{
    ConjoinRequest request{"bond0", {"eth3", "", "eth1"}};
    answer("/usr/sbin/ifenslave -f bond0 eth1", 3);
    EXPECT_EQ(rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&request), 768);
    EXPECT_EQ(calls(), (Lines{"/usr/sbin/ifenslave -f bond0 eth3 (loud)", "/usr/sbin/ifenslave -f bond0 eth1 (loud)"}));
    EXPECT_EQ(settings(), (Lines{"(none)", "(none)", "eth3", "(none)", "eth3"}));
    EXPECT_EQ(log_of("rd_mgmt_iface_conjoin_in_an_inclusive_fashion"),
              (Lines{"4 conjoined eth3 to bond0 rc=0", "4 conjoined eth1 to bond0 rc=768",
                     "5 wrote eth3 to " + kBonding + "primary", "5 wrote eth3 to " + kBonding + "active_slave"}));

    request = {"bond0", {"", "", ""}};
    EXPECT_EQ(rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&request), 0);
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(settings()[2] + settings()[4], "");
}

TEST_F(Bond, ConjoinChecksAllNamesBeforeItChangesAnything)
{
    struct {
        ConjoinRequest request;
        int code;
        std::string message;
    } cases[] = {
        {{"bond-0", {"eth_1", "", ""}}, 12, "mgmt interface name"},
        {{"bond0", {"eth0", "eth_1", "eth_2"}}, 12, "mgmt interface lower[2]"},
        {{"bond0", {"eth0", "", "eth/2"}}, 12, "mgmt interface lower[3]"},
        {{"bond0", {"abcdefgh1234567", "", ""}}, 11, "mgmt interface lower[1]"},
    };
    cases[3].request.lower[0][15] = '8'; // no NUL before the next slot
    for (const auto &c : cases) {
        EXPECT_EQ(rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&c.request), c.code);
        EXPECT_EQ(log(), Lines{"2 rd_mgmt_iface_conjoin_in_an_inclusive_fashion ERROR - Invalid " + c.message});
    }
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(settings(), Lines(5, "(none)"));
}

TEST_F(Bond, ConjoinTellsUnopenedFromRefusedFiles)
{
    const std::string name = "rd_mgmt_iface_conjoin_in_an_inclusive_fashion";
    const ConjoinRequest request{"bond0", {"eth3", "", ""}};
    fs::create_symlink("/dev/full", kBonding + "active_slave");
    EXPECT_EQ(rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&request), 0);
    EXPECT_EQ(log_of(name)[2],
              "2 ERROR - failed to write eth3 to " + kBonding + "active_slave No space left on device");

    fs::remove_all(kBonding);
    EXPECT_EQ(rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&request), 17);
    EXPECT_EQ(log_of(name), (Lines{"4 conjoined eth3 to bond0 rc=0",
                                   "2 ERROR - failed to open " + kBonding + "primary No such file or directory"}));
}
