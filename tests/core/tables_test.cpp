// What has more cases than a transcript would bear.

#include "base/child.h"
#include "base/validate.h"
#include "rig/rig.h"

using rig::Lines;

// The texts that a validator is shown, each with the code that it must give.
struct Texts {
    int (*validate)(const char *);
    std::vector<std::pair<std::string, int>> cases;
};

TEST(Validate, RefusesWhatIsTooLongOrHoldsOtherCharacters)
{
    const auto ones = [](size_t count) { return std::string(count, '1'); }; // which every validator accepts
    // clang-format off
    const Texts validators[] = {
        {rd_validate_mac,
         {{"aa:bb:cc:dd:ee:ff", 0}, {"0123456789aAfF:", 0}, {"", 0}, {"AA-BB", 12}, {"g", 12}, {"G", 12}, {"@", 12},
          {ones(18), 0}, {ones(18) + "-", 11}}},
        {rd_validate_ifname,
         {{"eth0.4003", 0}, {"AZaz09.", 0}, {"", 0}, {"eth0-1", 12}, {"eth_1", 12}, {"bond 0", 12}, {"\xe9th0", 12},
          {"eth0\n", 12}, {"eth0/", 12}, {ones(128), 0}, {ones(129), 11}}},
        {rd_validate_words,
         {{"100 full", 0}, {"auto-neg", 12}, {"a\tb", 12}, {"", 0}, {ones(128), 0}, {ones(129), 11}}},
        {rd_validate_shell_arg,
         {{"host-01.lab", 0}, {"$(id)", 0}, {"!\"#%'*/:=?@[\\]^_`{}~", 0}, {"a b", 12}, {"x;reboot", 12}, {"a|b", 12},
          {"a&b", 12}, {"a<b", 12}, {"a>b", 12}, {"\x1f", 12}, {"\x7f", 12}, {"\x80", 12}, {"", 0}, {ones(257), 0},
          {ones(258), 11}}},
        {rd_validate_ipv4,
         {{"10.0.0.1", 0}, {"999.999.999.999", 0}, {"", 19}, {ones(6), 19}, {"x", 19}, {ones(7), 0}, {ones(16), 0},
          {ones(17), 11}, {"10.0.0.x", 12}, {"10.0.0.1 ", 12}}},
    };
    // clang-format on
    for (const auto &[validate, cases] : validators) {
        for (const auto &[text, code] : cases) {
            EXPECT_EQ(validate(text.c_str()), code) << "'" << text << "'";
        }
    }
    EXPECT_EQ(rd_validate_ifname(nullptr), 13);
}

class Tables : public rig::Controller
{
  protected:
    void request(const std::string &words) { EXPECT_EQ(client_.request(words), 0) << words; }

    rig::Daemon daemon_;
    rig::Client client_;
};

TEST_F(Tables, Services)
{
    // clang-format off
    const Lines units = {"avahi-daemon", "lldpd-topology", "llmnrd", "network", "nodediscd", "", "radvd", "dhclient",
        "dhclient6", "dhclient6s", "dhcpd6", "q7mdnspublish", "wpa_supplicant", "ddnsreg"};
    // clang-format on
    for (size_t i = 0; i < units.size(); i++) {
        request("SERVICE action=1 wait=1 service=" + std::to_string(i));
        EXPECT_TRUE(units[i].empty() || calls().back() == "/bin/systemctl start " + units[i]) << units[i];
    }
}

TEST_F(Tables, Speeds)
{
    interface("eth1");
    for (const char *speed : {"10", "100", "1000", "2500", "10000", "20000", "25000", "40000", "50000", "100000"}) {
        request("LINK_TUNING link_state=1 ifname=eth1 speed=" + std::string(speed));
        EXPECT_EQ(calls().back(), "/usr/sbin/ethtool -s eth1 autoneg off speed " + std::string(speed) + " duplex half");
    }
}

TEST_F(Tables, BroadcastAddresses)
{
    // clang-format off
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"192.168.1.10", "32", " broadcast 192.168.1.10"}, {"192.168.1.10", "31", " broadcast 192.168.1.11"},
        {"10.1.2.3", "1", " broadcast 127.255.255.255"}, {"10.1.2.3", "0", ""}, {"10.1.2.3", "33", ""},
        {"10.1.2.3", "-2147483648", ""}, {"fe80::1", "32", ""}, {"::10.1.2.3", "24", ""}, {"192.168.1", "24", ""}};
    // clang-format on
    for (const auto &[address, prefix, broadcast] : cases) {
        request("STATIC_ADDRS ifname=eth0 address=" + address + " prefix_len=" + prefix);
        EXPECT_EQ(calls(), Lines{"/sbin/ip addr add " + address + "/" + prefix +
                                 " dev eth0 valid_lft forever preferred_lft forever" + broadcast});
    }
}

// T where the change is a transition, over autoconfig 0, 1 and 5 (a column group each) with modes -1, 0, 1 and 2.
TEST_F(Tables, Ipv6Transitions)
{
    const std::string conf = "/proc/sys/net/ipv6/conf/eth0/";
    const std::pair<std::string, std::string> cases[] = {
        // accept_ra, disable_ipv6 and addr_gen_mode; - for a file that does not exist
        {"000", "..TT TTTT TTTT "}, {"002", ".TT. TTTT TTTT "}, {"003", ".TT. TTTT TTTT "}, {"10-", "TTTT ..TT TTTT "},
        {"200", "..TT TTTT TTTT "}, {"-02", ".TT. TTTT TTTT "}, {"110", ".... .... .... "}, {"---", ".... .... .... "},
    };
    for (const auto &[values, expected] : cases) {
        std::string transitions;
        for (const char *autoconfig : {"0", "1", "5"}) {
            for (const std::string mode : {"-1", "0", "1", "2"}) {
                fs::remove_all(conf);
                for (size_t i = 0; const char *name : {"accept_ra", "disable_ipv6", "addr_gen_mode"}) {
                    values[i] == '-' ? void() : rig::write_file(conf + name, values.substr(i, 1) + "\n");
                    i++;
                }
                platform_log.take();
                request("MGMT_RECONFIG mif=eth0 i6_ena=1 i6_auto=" + std::string(autoconfig) + " stabpriv=" + mode);
                const char *const said = "transition on eth0\n5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK";
                transitions += platform_log.all().find(said) != std::string::npos ? "T" : ".";
            }
            transitions += " ";
        }
        EXPECT_EQ(transitions, expected) << values;
    }
}

// 0 where no process may be meant. Above 32 bits a number must not become a small one.
TEST_F(Tables, PidFilesAreReadAsOn32Bits)
{
    // clang-format off
    const std::pair<const char *, uint32_t> cases[] = {
        {"1234\n", 1234}, {"  77 dhclient\n", 77}, {"2147483647", 2147483647}, {"2147483648", 0}, {"4294967298", 0},
        {"123456789012345\n", 0}, {"-5\n", 0}, {"2", 2}, {"1", 0}, {"abc", 0}, {"\n1234", 0}, {"", 0}};
    // clang-format on
    uint32_t pid = 99;
    EXPECT_NE(rd_get_pid_from_file("/run/nosuch.pid", &pid), 0);
    for (const auto &[content, meant] : cases) {
        rig::write_file("/run/tool.pid", content);
        EXPECT_EQ(rd_get_pid_from_file("/run/tool.pid", &pid) == 0 ? pid : 0, meant) << content;
    }
}
