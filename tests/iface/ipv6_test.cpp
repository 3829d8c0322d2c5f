#include "iface/ipv6.h"

#include "rig/rig.h"

using rig::Lines;

static const std::string kConf = "/proc/sys/net/ipv6/conf/";

class Ipv6 : public rig::Controller
{
  protected:
    // An interface whose settings read so; '-' for a file that does not exist.
    static void interface_reads(char accept_ra, char disable_ipv6, char addr_gen_mode)
    {
        fs::remove_all(kConf + "eth0");
        fs::create_directories(kConf + "eth0");
        const std::pair<const char *, char> files[] = {
            {"accept_ra", accept_ra}, {"disable_ipv6", disable_ipv6}, {"addr_gen_mode", addr_gen_mode}};
        for (const auto &[name, value] : files) {
            if (value != '-') {
                rig::write_file(kConf + "eth0/" + name, std::string(1, value) + "\n");
            }
        }
    }
    static std::string setting(const std::string &name) { return rig::read_file(kConf + "eth0/" + name); }
};

TEST_F(Ipv6, SettingWritesOneLineOrSaysWhyNot)
{
    interface_reads('0', '0', '0');
    rd_ipv6_setting("eth0", "accept_ra", "1");
    EXPECT_EQ(setting("accept_ra"), "1\n");
    rd_ipv6_setting("eth9", "accept_ra", "1");
    fs::create_symlink("/dev/full", kConf + "eth0/refusing"); // as the kernel: at the flush
    rd_ipv6_setting("eth0", "refusing", "1");
    EXPECT_EQ(log(), (Lines{"5 rd_ipv6_setting eth0 accept_ra val:1 OK",
                            "2 rd_ipv6_setting ERROR - eth9 accept_ra val:1 No such file or directory",
                            "2 rd_ipv6_setting ERROR - eth0 refusing val:1 No space left on device"}));
}

// "../../../../../" would lead to the root folder.
TEST_F(Ipv6, NamesThatLeadOutOfTheFolderWriteNothing)
{
    interface_reads('0', '0', '0');
    for (const char *name : {"../conf/eth0", "eth0/", "eth0/../eth0", "/eth0", "..", "."}) {
        rd_configure_ipv6(name, 1, 1, -1);
        rd_set_ip6_hoplimit(name, 3);
        EXPECT_EQ(setting("accept_ra") + setting("disable_ipv6") + setting("accept_dad"), "0\n0\n(none)") << name;
        EXPECT_FALSE(fs::exists(kConf + "accept_dad") || fs::exists(kConf + "../accept_dad")) << name;
    }
}

TEST_F(Ipv6, OffIsOneWrite)
{
    interface_reads('1', '0', '0');
    rd_configure_ipv6("eth0", 0, 1, 2);
    EXPECT_EQ(setting("disable_ipv6"), "1\n");
    EXPECT_EQ(log(), (Lines{"4 rd_configure_ipv6 eth0 enable:0 autoconfig:1",
                            "5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK"}));
}

TEST_F(Ipv6, OnSwitchesItOnLast)
{
    interface_reads('1', '1', '0');
    rd_configure_ipv6("eth0", 1, 1, -1);
    EXPECT_EQ(log(), (Lines{"4 rd_configure_ipv6 eth0 enable:1 autoconfig:1",
                            "5 rd_ipv6_setting eth0 accept_ra val:1 OK", "5 rd_ipv6_setting eth0 accept_dad val:2 OK",
                            "5 rd_ipv6_setting eth0 accept_ra_rt_info_max_plen val:128 OK",
                            "5 rd_ipv6_setting eth0 disable_ipv6 val:0 OK"}));
    EXPECT_EQ(setting("accept_dad"), "2\n");
    EXPECT_EQ(setting("accept_ra_rt_info_max_plen"), "128\n");
    EXPECT_EQ(setting("disable_ipv6"), "0\n");
    EXPECT_EQ(setting("addr_gen_mode"), "0\n");
}

TEST_F(Ipv6, ChangeOfARunningInterfaceSwitchesItOffFirst)
{
    interface_reads('1', '0', '0');
    rd_configure_ipv6("eth0", 1, 0, 2);
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_configure_ipv6 eth0 enable:1 autoconfig:0",
               "4 rd_configure_ipv6 IPv6 autoconfig transition on eth0", "5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK",
               "5 rd_ipv6_setting eth0 accept_ra val:0 OK", "5 rd_ipv6_setting eth0 accept_dad val:2 OK",
               "5 rd_ipv6_setting eth0 accept_ra_rt_info_max_plen val:128 OK",
               "5 rd_ipv6_setting eth0 addr_gen_mode val:2 OK", "5 rd_ipv6_setting eth0 disable_ipv6 val:0 OK"}));
    EXPECT_EQ(setting("accept_ra"), "0\n");
    EXPECT_EQ(setting("addr_gen_mode"), "2\n");
}

// T where the change is a transition, over autoconfig 0, 1 and 5 (a column group each) with modes -1, 0, 1 and 2.
TEST_F(Ipv6, TransitionDependsOnWhatRuns)
{
    struct {
        char accept_ra;
        char disable_ipv6;
        char addr_gen_mode;
        std::string transitions;
    } const cases[] = {
        {'0', '0', '0', "..TT TTTT TTTT"}, {'0', '0', '2', ".TT. TTTT TTTT"}, {'0', '0', '3', ".TT. TTTT TTTT"},
        {'0', '0', '-', "..TT TTTT TTTT"}, {'1', '0', '0', "TTTT ..TT TTTT"}, {'1', '0', '2', "TTTT .TT. TTTT"},
        {'1', '0', '-', "TTTT ..TT TTTT"}, {'2', '0', '0', "..TT TTTT TTTT"}, {'-', '0', '2', ".TT. TTTT TTTT"},
        {'0', '2', '0', "..TT TTTT TTTT"}, {'1', '1', '0', ".... .... ...."}, {'0', '1', '2', ".... .... ...."},
        {'1', '-', '0', ".... .... ...."}, {'-', '-', '-', ".... .... ...."},
    };
    for (const auto &c : cases) {
        std::string transitions;
        for (const int autoconfig : {0, 1, 5}) {
            for (const int mode : {-1, 0, 1, 2}) {
                interface_reads(c.accept_ra, c.disable_ipv6, c.addr_gen_mode);
                rd_configure_ipv6("eth0", 1, autoconfig, mode);
                const std::string messages = platform_log.all();
                platform_log.take();
                transitions += messages.find("transition on eth0\n5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK") !=
                                       std::string::npos
                                   ? "T"
                                   : ".";
                EXPECT_EQ(setting("accept_ra"), autoconfig == 0 ? "0\n" : "1\n");
                EXPECT_EQ(setting("disable_ipv6"), "0\n");
                if (mode != -1) {
                    EXPECT_EQ(setting("addr_gen_mode"), mode == 0 ? "0\n" : "2\n");
                }
            }
            transitions += autoconfig < 5 ? " " : "";
        }
        EXPECT_EQ(transitions, c.transitions) << c.accept_ra << c.disable_ipv6 << c.addr_gen_mode;
    }
}

TEST_F(Ipv6, UnreadableFilesAreReportedAndSkipped)
{
    rd_configure_ipv6("eth0", 1, 0, 0);
    const std::string missing = "2 rd_configure_ipv6 ERROR - Unable to open file: " + kConf + "eth0/";
    const Lines messages = log();
    ASSERT_EQ(messages.size(), 9U);
    EXPECT_EQ(messages[1], missing + "accept_ra No such file or directory");
    EXPECT_EQ(messages[2], missing + "disable_ipv6 No such file or directory");
    EXPECT_EQ(messages[3], missing + "addr_gen_mode No such file or directory");
    EXPECT_EQ(messages[8], "2 rd_ipv6_setting ERROR - eth0 disable_ipv6 val:0 No such file or directory");
}

TEST_F(Ipv6, HopLimit)
{
    interface_reads('0', '0', '0');
    rd_set_ip6_hoplimit("eth0", 0);
    EXPECT_EQ(setting("hop_limit"), "(none)");
    rd_set_ip6_hoplimit("eth0", 64);
    EXPECT_EQ(setting("hop_limit"), "64\n");
    rd_set_ip6_hoplimit("eth0", -2147483648);
    EXPECT_EQ(setting("hop_limit"), "-2147483648\n");
    rd_set_ip6_hoplimit("eth9", 64);
    EXPECT_EQ(log(), (Lines{"4 rd_set_ip6_hoplimit wrote 64 to " + kConf + "eth0/hop_limit chars:3",
                            "4 rd_set_ip6_hoplimit wrote -2147483648 to " + kConf + "eth0/hop_limit chars:12",
                            "2 rd_set_ip6_hoplimit ERROR - Unable to open " + kConf +
                                "eth9/hop_limit No such file or directory"}));
}
