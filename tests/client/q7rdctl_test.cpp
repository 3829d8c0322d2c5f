// The command-line client as its users see it: the frames that it sends, what it says of the answers, its exit status.

#include "rig/rig.h"

#include <fcntl.h>
#include <pty.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

namespace
{

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

[[noreturn]] void become_q7rdctl(const std::string &arguments)
{
    Lines words = rig::words_of("q7rdctl " + arguments);
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    execv("/rig/q7rdctl", argv.data());
    _exit(127);
}

Outcome q7rdctl(const std::string &arguments, uid_t uid = 0, const char *output = "/tmp/output")
{
    const pid_t child = fork();
    if (child == 0) {
        const char *const paths[] = {output, "/tmp/errors"};
        for (int i = 0; i < 2; i++) {
            dup2(open(paths[i], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644), STDOUT_FILENO + i);
        }
        if (uid != 0 && (setgid(uid) != 0 || setuid(uid) != 0)) {
            _exit(126);
        }
        become_q7rdctl(arguments);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, rig::read_file("/tmp/output"), rig::read_file("/tmp/errors")};
}

// Takes requests as the daemon does and answers them with one result code.
class Listener
{
  public:
    explicit Listener(int32_t rc = 0, size_t reply_size = sizeof(ReplyFrame)) : socket_(zsock_new_rep("@" RD_ENDPOINT))
    {
        zsock_set_rcvtimeo(socket_, 100);
        thread_ = std::jthread([this, rc, reply_size](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                zframe_t *frame = zframe_recv(socket_);
                if (frame == nullptr) {
                    continue;
                }
                received.emplace_back(reinterpret_cast<const char *>(zframe_data(frame)), zframe_size(frame));
                zframe_destroy(&frame);
                std::string reply(reply_size, '\0');
                received.back().copy(reply.data(), sizeof(RequestHeader));
                if (reply_size == sizeof(ReplyFrame)) {
                    memcpy(reply.data() + offsetof(ReplyFrame, rc), &rc, sizeof rc);
                }
                frame = zframe_new(reply.data(), reply.size());
                zframe_send(&frame, socket_, 0);
            }
        });
    }
    ~Listener()
    {
        thread_.request_stop();
        thread_.join();
        zsock_destroy(&socket_);
        fs::remove(RD_SOCKET_PATH);
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    Lines received; // to be looked at when the client has ended

  private:
    zsock_t *socket_;
    std::jthread thread_;
};

std::string shown(const std::string &bytes)
{
    std::string text;
    for (size_t i = 0; i < bytes.size(); i++) {
        if (bytes[i] != '\0') {
            text += std::to_string(i) + ":" + std::to_string(static_cast<unsigned char>(bytes[i])) + " ";
        }
    }
    return text;
}

class Q7rdctl : public rig::Controller
{
  protected:
    Q7rdctl() { fs::create_directories("/tmp"); }
};

} // namespace

TEST_F(Q7rdctl, EachCommandFillsItsRecord)
{
    const std::pair<const char *, const char *> cases[] = {
        {"autoconfig", "AUTOCONFIG"},
        {"autoconfig disable", "AUTOCONFIG autoconf_arg=disable"},
        {"usbnic create --host-mac 02:00:00:00:00:01 --device-mac 02:00:00:00:00:02 --gadget-flag",
         "USBNIC action=3 gadget_flag=1 host_mac=02:00:00:00:00:01 device_mac=02:00:00:00:00:02"},
        {"usbnic up --device-mac 02:00:00:00:00:02 --address 169.254.77.1/24 fde1::1/64 --dhcp-server",
         "USBNIC action=1 dhcp_server=1 device_mac=02:00:00:00:00:02 prefix_length=24 address=169.254.77.1,fde1::1"},
        {"usbnic down", "USBNIC"},
        {"usbnic renew --address fde1::2/64", "USBNIC action=2 address=fde1::2"},
        {"mgmt-reconfig rebuild bond0 --lower eth1 eth2 eth0 --mac 02:00:00:00:00:01 --vlan 100 --mtu 1400 --hop-limit "
         "33 "
         "--address-generation stable --router-advertisements off --dedicated eth4 --dedicated2 eth5 --dedicated-link "
         "down",
         "MGMT_RECONFIG action=1 mtu=1400 vlan=100 i6_ena=1 mif_linkstate=1 hoplimit=33 stabpriv=2 mif=bond0 ded=eth4 "
         "ded2=eth5 mac=02:00:00:00:00:01 lwr=eth1,eth2,eth0"},
        {"mgmt-reconfig rebuild bond0 --macvlan --lower eth1 --ipv6 off --link down --address-generation eui64",
         "MGMT_RECONFIG action=1 mtu=1500 macvlan=1 i6_auto=1 ded_linkstate=1 mif=bond0 lwr=eth1"},
        {"mgmt-reconfig ipv6 bond0",
         "MGMT_RECONFIG mtu=1500 i6_ena=1 i6_auto=1 mif_linkstate=1 ded_linkstate=1 stabpriv=-1 mif=bond0"},
        {"service restart network --wait", "SERVICE wait=1 service=3 action=2"},
        {"service stop ddnsreg", "SERVICE service=13"},
        {"service start kx-dhclient", "SERVICE service=5 action=1"},
        {"firewall usb-nat apply", "FIREWALL ruleset=2 operation=1"},
        {"firewall dedipv4 remove --interface eth1", "FIREWALL ruleset=1 ifname=eth1"},
        {"firewall dpufilt apply --argument a b c d", "FIREWALL ruleset=4 operation=1 argument=a,b,c,d"},
        {"conjoin bond0 eth1 eth2 eth3", "CONJOIN bond=bond0 lower=eth1,eth2,eth3"},
        {"link eth1 up", "LINK state=1 ifname=eth1"},
        {"link abcdefghijklmno down", "LINK ifname=abcdefghijklmno"},
        {"hostname ctl-01", "HOSTNAME name=ctl-01"},
        {"domainname lab.example", "DOMAINNAME name=lab.example"},
        {"arping eth0 10.0.0.5 10.0.0.1", "ARPING ifname=eth0 address=10.0.0.5 gateway=10.0.0.1"},
        {"bc-ip-rules none", "BC_IP_RULES ifname=none address=none netmask=none gateway=none dns=none table=rt2"},
        {"bc-ip-rules eth3 --address 10.0.0.5 --netmask 255.0.0.0 --gateway 10.0.0.1 --dns 10.0.0.2 --table rt2x "
         "--option --mac 02:00:00:00:00:01",
         "BC_IP_RULES ifname=eth3 address=10.0.0.5 netmask=255.0.0.0 gateway=10.0.0.1 dns=10.0.0.2 table=rt2x option=1 "
         "ded_mac=02:00:00:00:00:01"},
        {"vlan-priority bond0.100 7", "VLAN_PRIORITY priority=7 ifname=bond0.100"},
        {"slbc up eth3 --proxy 10.0.0.9 --topology-lldp 2",
         "SLBC operation=1 topology_lldp=2 ifname=eth3 proxy=10.0.0.9"},
        {"send-packet eth0", "SEND_PACKET ifname=eth0"},
        {"hosts-file ctl-01", "HOSTS_FILE name=ctl-01"},
        {"ipv4-dad eth0 10.0.0.5/8", "IPV4_DAD ifname=eth0 ipaddr=10.0.0.5 prefix_len=8"},
        {"init-ifaces --modular --ngm --slot 254 --mac 02:00:00:00:00:01 --eth0 --eth3 --front-dedicated "
         "--kx-interface kx0 "
         "--kx-mac 02:00:00:00:00:02 --seed-a A --seed-b B",
         "INIT_IFACES is_modular=1 is_ngm=1 init_eth0=1 init_eth3=1 init_frded=1 init_kx=1 slot=254 secret_seed_a=A "
         "macaddress=02:00:00:00:00:01 kx_mac=02:00:00:00:00:02 kx_ifname=kx0 secret_seed_b=B"},
        {"sideband add --macv2 --macv2-mac 02:00:00:00:00:01 --macv3 --macv3-mac 02:00:00:00:00:02 --macve0",
         "SIDEBAND operation=1 macv2=1 macv3=1 macve0=1 macv2_mac=02:00:00:00:00:01 macv3_mac=02:00:00:00:00:02"},
        {"sideband delete --macve0", "SIDEBAND macve0=1"},
        {"reset-mgmt bond0 --mac 02:00:00:00:00:01 --macsec",
         "RESET_MGMT set_mac=1 macsec=1 ifname=bond0 mac=02:00:00:00:00:01"},
        {"reset-mgmt bond0", "RESET_MGMT ifname=bond0"},
        {"mif-flush bond0 --ipv6-default-route", "MIF_FLUSH ipv6_default_route=1 ifname=bond0"},
        {"dhcp-release --ipv4", "DHCP_RELEASE dhcp4=1"},
        {"dhcp-release --ipv6", "DHCP_RELEASE dhcp6=1"},
        {"ngm-debug --interface all --router fe80::1 fe80::2",
         "NGM_DEBUG interface_index=-1 count=2 router=fe80::1,fe80::2"},
        {"mdns-browse start _a._tcp --interface lo --firewall",
         "MDNS_BROWSE start=1 firewall=1 interface_index=1 service_type=_a._tcp"},
        {"mdns-browse stop _a._tcp --interface all", "MDNS_BROWSE interface_index=-1 service_type=_a._tcp"},
        {"init-smartnic up eth3 mif0 --mac 02:00:00:00:00:0f --nic-mac 02:00:00:00:01:00 02:00:00:00:01:01",
         "INIT_SMARTNIC mode=1 count=2 snic_mac=02:00:00:00:01:00,02:00:00:00:01:01 lower=mif0 "
         "mif_mac=02:00:00:00:00:0f physical=eth3"},
        {"init-frontdedicated eth1 --mac 02:00:00:00:00:01",
         "INIT_FRONTDEDICATED link_state=1 autoneg=-1 duplex=1 ifname=eth1 mac=02:00:00:00:00:01"},
        {"init-frontdedicated eth1 --mac 02:00:00:00:00:01 --autoneg off --speed 100 --duplex half --link down",
         "INIT_FRONTDEDICATED speed=100 ifname=eth1 mac=02:00:00:00:00:01"},
        {"init-flop-usb-nic eth4 --mac 02:00:00:00:00:04",
         "INIT_FLOP_USB_NIC link_state=1 ifname=eth4 mac=02:00:00:00:00:04"},
        {"link-tuning eth2 --autoneg off --speed 1000", "LINK_TUNING speed=1000 duplex=1 link_state=1 ifname=eth2"},
        {"link-tuning eth2 --autoneg on --link down", "LINK_TUNING autoneg=1 duplex=1 ifname=eth2"},
        {"static-addrs eth0 --address 10.0.0.5/24 --gateway 10.0.0.1 --dad",
         "STATIC_ADDRS dad=1 prefix_len=24 ifname=eth0 address=10.0.0.5 gateway=10.0.0.1"},
        {"static-addrs eth0 --address 2001:db8::1/64 --gateway fe80::1 --route 2001:db8:1::/48 fe80::2 "
         "02:00:00:00:00:02 "
         "2001:db8:2::/47 fe80::3 02:00:00:00:00:03",
         "STATIC_ADDRS ipv6=1 prefix_len=64,48,47 ifname=eth0 address=2001:db8::1 gateway=fe80::1 "
         "lladdr=02:00:00:00:00:02,02:00:00:00:00:03 router=fe80::2,fe80::3 prefix=2001:db8:1::,2001:db8:2::"},
        {"static-addrs eth0 --autoconfiguration on", "STATIC_ADDRS ipv6=1 autoconfig_only=1 autoconfig=1 ifname=eth0"},
        {"terminate", "TERMINATE"},
    };
    std::set<uint32_t> seen;
    Listener listener;
    for (const auto &[arguments, request] : cases) {
        EXPECT_EQ(q7rdctl(std::string("--tag 4000000000 ") + arguments).status, 0) << arguments;
        const RequestFrame frame = rig::request_of(request + std::string(" tag=4000000000"));
        const std::string expected(reinterpret_cast<const char *>(&frame), sizeof frame);
        ASSERT_FALSE(listener.received.empty()) << arguments;
        EXPECT_EQ(shown(listener.received.back()), shown(expected)) << arguments;
        EXPECT_EQ(listener.received.back().size(), sizeof frame);
        seen.insert(frame.header.cmd);
    }
    EXPECT_EQ(seen.size(), size_t{RD_CMD_COUNT}) << "a command without a case";
}

TEST_F(Q7rdctl, RawSendsTheBytesGiven)
{
    Listener listener;
    EXPECT_EQ(q7rdctl("raw 4294967295 --wait --tag 1 00Ff10").status, 0);
    EXPECT_EQ(shown(listener.received.back()), "0:255 1:255 2:255 3:255 4:1 8:1 13:255 14:16 ");
    EXPECT_EQ(listener.received.back().size(), 15U);
    EXPECT_EQ(q7rdctl("raw 7 --tag 1").status, 0);
    EXPECT_EQ(listener.received.back().size(), 12U);
    EXPECT_EQ(q7rdctl("raw 7 " + std::string(size_t{2} * 65524, '0')).status, 0);
    EXPECT_EQ(listener.received.back().size(), 65536U);
    EXPECT_EQ(q7rdctl("raw 7 " + std::string(size_t{2} * 65525, '0')).status, 2) << "would cost the connection";
}

// Whoever follows an example gets what it promises; each command has one.
TEST_F(Q7rdctl, ExamplesOfTheHelpWork)
{
    Listener listener;
    std::set<std::string> commands;
    std::istringstream help(q7rdctl("--help").output);
    bool in_group = false;
    for (std::string line; std::getline(help, line);) {
        const Lines words = rig::words_of(line);
        in_group = line.ends_with(":") ? line != "Options:" && line != "Example:" : in_group && !words.empty();
        if (in_group && line.starts_with("  ")) {
            commands.insert(words[0]);
        }
    }
    EXPECT_EQ(commands.size(), RD_CMD_COUNT + 1U) << "all and raw";
    for (const std::string &command : commands) {
        const Outcome outcome = q7rdctl(command + " --help");
        EXPECT_EQ(outcome.status, 0);
        const std::string mark = "Example:\n  q7rdctl ";
        const size_t start = outcome.output.find(mark + command);
        ASSERT_NE(start, std::string::npos) << outcome.output;
        std::string example = outcome.output.substr(start + mark.size());
        example.resize(example.find('\n'));
        const size_t usbpt = example.find(" usbpt"); // the interface that is there has another name
        if (usbpt != std::string::npos) {
            example.replace(usbpt, strlen(" usbpt"), " lo   ");
        }
        const Outcome run = q7rdctl(example);
        EXPECT_EQ(run.status, 0) << example << ": " << run.errors;
    }
    EXPECT_EQ(listener.received.size(), commands.size());
}

// Nothing is sent when the command line is wrong, least of all something cut.
TEST_F(Q7rdctl, WrongUsageIsToldAndSendsNothing)
{
    const struct {
        const char *arguments;
        const char *complaint;
    } cases[] = {
        {"", "a command is required"},
        {"nonsense", "not expected: nonsense"},
        {"link eth1 up extra", "not expected: extra"},
        {"link eth1", "STATE is required"},
        {"link eth1 sideways", "STATE: 'sideways' is not one of {down,up}"},
        {"link abcdefghijklmnop up", "IFNAME: 'abcdefghijklmnop' is longer than 15 characters"},
        {"send-packet abcdefghijklmnop", "longer than 15"},
        {"mdns-browse start _0123456789012345678901234567890 --interface lo", "longer than 31"},
        {"firewall dpufilt apply --argument 012345678901234567 b", "longer than 17"},
        {"conjoin bond0 a b c d", "LOWER"},
        {"mdns-browse start _a._tcp --interface nosuch", "no interface 'nosuch' here"},
        {"vlan-priority eth0.1 8", "'8' is no number from 0 to 7"},
        {"vlan-priority eth0.1 4294967296", "is no number"},
        {"vlan-priority eth0.1 0x7", "'0x7' is no number"},
        {"reset-mgmt bond0 --macsec=false", "disallowed flag override"},
        {"init-ifaces --slot 256", "is no number from 1 to 254"},
        {"init-ifaces --modular --slot 1", "--mac is required"},
        {"init-ifaces --modular --mac 02:00:00:00:00:01", "--slot is required"},
        {"mgmt-reconfig rebuild bond0 --mac 02:00:00:00:00:01", "--lower is required"},
        {"mgmt-reconfig rebuild bond0 --lower eth1", "--mac or --macvlan is required"},
        {"usbnic up", "--device-mac is required"},
        {"usbnic renew --address fde1::1/48", "prefix length 64"},
        {"usbnic renew --address 10.0.0.1/8 10.1.0.1/9", "share one prefix length"},
        {"init-flop-usb-nic eth4 --mac 02:00:00:00:00:0g", "'02:00:00:00:00:0g' is no MAC address"},
        {"init-flop-usb-nic eth4 --mac 02:00:00:00:00:011", "is no MAC address"},
        {"arping eth0 10.0.0 10.0.0.1", "'10.0.0' is no IPv4 address"},
        {"ngm-debug --interface lo --router 10.0.0.1", "is no IPv6 address"},
        {"ipv4-dad eth0 10.0.0.1", "needs its prefix length"},
        {"ipv4-dad eth0 10.0.0.1/33", "'33' is no number from 0 to 32"},
        {"ipv4-dad eth0 10.0.0.1/2x", "'2x' is no number"},
        {"static-addrs eth0 --address fe80::1/129", "from 0 to 128"},
        {"ipv4-dad eth0 fe80::1/64", "only IPv4"},
        {"static-addrs eth0", "is required"},
        {"static-addrs eth0 --address 10.0.0.5/24 --gateway fe80::1", "one family"},
        {"static-addrs eth0 --address 2001:db8::1/64 --dad", "only IPv4 is probed"},
        {"static-addrs eth0 --route 2001:db8::/32 fe80::1 x", "'x' is no MAC address"},
        {"static-addrs eth0 --autoconfiguration on --gateway fe80::1", "excludes"},
        {"link-tuning eth2 --autoneg off", "--speed, without auto-negotiation is required"},
        {"link-tuning eth2 --autoneg on --speed 100", "need --autoneg off"},
        {"mgmt-reconfig link bond0 --lower eth1", "only rebuild has a use"},
        {"mgmt-reconfig rebuild bond0 --macvlan --lower eth1 eth2", "a macvlan has one interface"},
        {"mgmt-reconfig ipv6 abcdefghijk --vlan 4094", "'abcdefghijk.4094' is longer than 15"},
        {"firewall ping apply --interface eth1", "only dedipv4 has a use"},
        {"firewall dpufilt apply --argument [a,b]", "'[a,b]' is no argument"},
        {"init-smartnic down eth3 mif0 --mac 02:00:00:00:00:0f --nic-mac 02:00:00:00:01:00", "only up has a use"},
        {"init-ifaces --kx-interface kx0", "--kx-mac is required"},
        {"init-ifaces --seed-a ABCDEFGHIJKL --seed-b MNOPQRSTUVWXYZ", "longer than 25"},
        {"bc-ip-rules none --table foo", "must begin with rt2"},
        {"static-addrs eth0 --gateway 10.0.0.1 --dad", "--dad requires --address"},
        {"usbnic renew --address 10.0.0.1/0 10.1.0.1/9", "share one prefix length"},
        {"usbnic down --host-mac 02:00:00:00:00:01", "only create has a use"},
        {"link-tuning eth2 --autoneg off --speed 99", "not one of {10,100"},
        {"sideband add", "is required"},
        {"dhcp-release", "is required"},
        {"raw 7 123", "no even number of hexadecimal digits"},
        {"raw 7 0x", "hexadecimal"},
        {"link eth1 up --timeout 0", "is no number from 1 to 86400"},
        {"link eth1 up --tag -1", "--tag"},
    };
    Listener listener;
    for (const auto &each : cases) {
        const Outcome outcome = q7rdctl(each.arguments);
        EXPECT_EQ(outcome.status, 2) << each.arguments;
        EXPECT_NE(outcome.errors.find(each.complaint), std::string::npos) << each.arguments << ": " << outcome.errors;
        EXPECT_EQ(outcome.output, "") << each.arguments;
    }
    EXPECT_TRUE(listener.received.empty());
}

TEST_F(Q7rdctl, AnswersAreReadForPeople)
{
    const struct {
        const char *arguments;
        int32_t rc;
        const char *output;
        int status;
    } cases[] = {
        {"link eth1 up", 0, "done (0)", 0},
        {"link eth1 up", 12, "refused: interface name holds a character that is not allowed (12)", 1},
        {"link eth1 up", 14, "ip was killed by signal 14, Alarm clock (14)", 1},
        {"raw 7", 14, "refused: a number is out of its range, or there is no such command (14)", 1},
        {"link-tuning eth1 --autoneg on", 0, "done: the error log tells how each step ended (0)", 0},
        {"service stop radvd", 0, "done: it was started; --wait tells how it ends (0)", 0},
        {"service stop radvd --wait", 0, "done (0)", 0},
        {"service stop kx-dhclient", 0, "done (0)", 0},
        {"firewall ping apply", 0, "done: the error log tells how the firewall script ended (0)", 0},
        {"firewall usb-nat apply", 0, "done (0)", 0},
        {"firewall usb-nat apply", 256, "iptables ended with exit status 1 (256)", 1},
        {"dhcp-release --ipv6", 512, "dhclient ended with exit status 2 (512)", 1},
        {"dhcp-release --ipv4 --ipv6", 768,
         "dhclient, the statuses of its two runs combined, ended with exit status 3 (768)", 1},
        {"link eth1 up", 512, "ip ended with exit status 2 (512)", 1},
        {"link eth1 up", 65280, "ip could not be executed, or ended with exit status 255 (65280)", 1},
        {"link eth1 up", 9, "ip was killed by signal 9, Killed (9)", 1},
        {"link eth1 up", 139, "ip was killed by signal 11, Segmentation fault (139)", 1},
        {"link eth1 up", -1, "failed: a child process or a system call failed (-1)", 1},
        {"link eth1 up", 127, "no result code that is known here (127)", 1},
        {"hostname x", -1, "failed: the kernel did not take the name, which it limits to 64 characters (-1)", 1},
        {"conjoin bond0 eth1", 17, "failed: the bond's settings could not be opened: is it a bond? (17)", 1},
        {"service stop radvd --wait", 256, "systemctl ended with exit status 1 (256)", 1},
        {"service stop kx-dhclient --wait", 256, "dhclient ended with exit status 1 (256)", 1},
        {"usbnic down", 256, "ip ended with exit status 1 (256)", 1},
        {"usbnic up --device-mac 02:00:00:00:00:02 --dhcp-server", 256, "udhcpd ended with exit status 1 (256)", 1},
        {"usbnic up --device-mac 02:00:00:00:00:02", 1,
         "failed: no DHCP server is running that could be stopped; the error log tells of the rest (1)", 1},
        {"send-packet eth0", 64, "done: sent 64 bytes (64)", 0},
        {"send-packet eth0", 17, "failed: no frame of 64 to 1522 bytes is stored for it, or it could not be sent (17)",
         1},
        {"ipv4-dad eth0 10.0.0.1/8", 512, "the probe was answered or failed, and ip ended with exit status 2 (512)", 1},
        {"raw 14", 64, "done: sent 64 bytes (64)", 0},
        {"raw 7", 512, "a tool ended with exit status 2 (512)", 1},
    };
    for (const auto &each : cases) {
        const Listener listener(each.rc);
        const Outcome outcome = q7rdctl(each.arguments);
        EXPECT_EQ(outcome.output, std::string(each.output) + "\n") << each.arguments;
        EXPECT_EQ(outcome.status, each.status) << each.arguments;
    }
    const Listener listener(512);
    EXPECT_EQ(q7rdctl("link eth1 up --tag 7 --json").output,
              R"({"command":"link","cmd":7,"tag":7,"rc":512,"success":false,"meaning":"ip ended with exit status 2"})"
              "\n");
    const Outcome verbose = q7rdctl("link eth1 up --tag 7 --verbose");
    EXPECT_NE(verbose.errors.find("07 00 00 00 00 00 00 00 07 00 00 00 01 00 00 00  ................\n"
                                  "    16  65 74 68 31"),
              std::string::npos);
    EXPECT_NE(verbose.errors.find("reply, 1036 bytes"), std::string::npos);
}

TEST_F(Q7rdctl, WithoutAReplyItSaysWhy)
{
    const auto complaint = [](const std::string &arguments, uid_t uid = 0) {
        const Outcome outcome = q7rdctl(arguments, uid);
        EXPECT_EQ(outcome.status, 3) << arguments;
        EXPECT_EQ(outcome.output, "") << arguments;
        return outcome.errors;
    };
    EXPECT_EQ(complaint("link eth1 up"),
              "q7rdctl: no socket /run/q7net/q7rd.socket: the daemon has not been started\n");
    EXPECT_EQ(q7rdctl("link eth1 up --tag 7 --json --socket /no\"such").output,
              R"({"command":"link","cmd":7,"tag":7,"rc":null,"success":false,)"
              R"("meaning":"no socket /no\"such: the daemon has not been started"})"
              "\n");
    EXPECT_EQ(complaint("link eth1 up --socket /" + std::string(108, 'x')),
              "q7rdctl: the path of the socket is too long\n");
    {
        const Listener listener(0, sizeof(ReplyFrame) - 1);
        EXPECT_EQ(complaint("link eth1 up"), "q7rdctl: an answer of 1035 bytes, which is no reply\n");
        if (rig::has_second_user()) {
            chmod(RD_SOCKET_PATH, 0770);
            EXPECT_EQ(complaint("link eth1 up", 1000), "q7rdctl: no permission for /run/q7net/q7rd.socket: only root "
                                                       "and members of the group q7net have it\n");
        }
    }
    for (const bool ends : {false, true}) {
        zsock_t *silent = zsock_new_rep("@" RD_ENDPOINT); // stands for a daemon that is busy
        const std::jthread end([&silent, ends] {
            zclock_sleep(ends ? 500 : 2500);
            zsock_destroy(&silent);
        });
        const int64_t start = zclock_mono();
        EXPECT_EQ(complaint("link eth1 up --timeout 2"),
                  ends
                      ? "q7rdctl: no answer: the daemon has ended meanwhile; whether it carried this out is not known\n"
                      : "q7rdctl: no answer within 2 s: the daemon is busy, and may carry this out later\n");
        EXPECT_LT(zclock_mono() - start, ends ? 1900 : 4000);
    }
    EXPECT_EQ(complaint("link eth1 up --socket /tmp"), "q7rdctl: /tmp is no socket\n");
    EXPECT_NE(q7rdctl("link eth1 up --json --socket /\xff").output.find("/\\u00ff:"), std::string::npos);

    // A socket file that was left behind, and one whose owner has stopped with its queue full.
    fs::remove(RD_SOCKET_PATH);
    sockaddr_un address{AF_UNIX, RD_SOCKET_PATH};
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(complaint("link eth1 up"), "q7rdctl: nobody listens on /run/q7net/q7rd.socket: the daemon has ended\n");
    listen(listener, 0);
    const int other = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(other, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(complaint("link eth1 up"),
              "q7rdctl: the daemon takes no connections on /run/q7net/q7rd.socket: it has been stopped\n");
    close(other);
    close(listener);
}

// A result that cannot be written is no success.
TEST_F(Q7rdctl, ReportsThatItsAnswerWasLost)
{
    const Listener listener;
    const Outcome outcome = q7rdctl("link eth1 up", 0, "/dev/full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "q7rdctl: done (0), but that could not be written: No space left on device\n");
}

// Every word of the long lists stands for the number that the daemon knows it by.
TEST_F(Q7rdctl, WordsStandForTheirNumbers)
{
    Listener listener;
    const auto expect_numbers = [&listener](const std::string &before, const Lines &words, const std::string &after) {
        for (size_t i = 0; i < words.size(); i++) {
            ASSERT_EQ(q7rdctl(before + words[i] + after).status, 0) << words[i];
            EXPECT_EQ(listener.received.back()[sizeof(RequestHeader)], static_cast<char>(i)) << words[i];
        }
    };
    expect_numbers("service stop ",
                   {"avahi-daemon", "lldpd-topology", "llmnrd", "network", "nodediscd", "kx-dhclient", "radvd",
                    "dhclient", "dhclient6", "dhclient6s", "dhcpd6", "q7mdnspublish", "wpa_supplicant", "ddnsreg"},
                   "");
    expect_numbers("firewall ", {"mdns", "dedipv4 --interface eth1", "usb-nat", "ping", "dpufilt"}, " apply");
    expect_numbers("mgmt-reconfig ", {"ipv6", "rebuild --macvlan --lower eth1", "link"}, " bond0");
}

TEST_F(Q7rdctl, ShowsOnATerminalThatItWaits)
{
    zsock_t *silent = zsock_new_rep("@" RD_ENDPOINT);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_GE(child, 0);
    if (child == 0) {
        become_q7rdctl("link eth1 up --timeout 2");
    }
    std::string shown_text;
    char buffer[256];
    for (ssize_t size = 0; (size = read(terminal, buffer, sizeof buffer)) > 0;) { // EIO when the other end closes
        shown_text.append(buffer, static_cast<size_t>(size));
    }
    waitpid(child, nullptr, 0);
    close(terminal);
    zsock_destroy(&silent);
    EXPECT_TRUE(shown_text.starts_with("\rwaiting for the answer, 1 s \r\033[Kq7rdctl: no answer")) << shown_text;
}

// The client looks whether anybody listens before it sends; the daemon must not mind.
TEST_F(Q7rdctl, WorksWithTheDaemonManyTimes)
{
    rig::Daemon daemon;
    rig::Client other;
    ASSERT_EQ(other.request("SIDEBAND"), 0); // it has its socket by now
    for (int i = 0; i < 100; i++) {
        ASSERT_EQ(q7rdctl("link eth1 up --timeout 5").output, "done (0)\n") << i;
        ASSERT_EQ(other.request("SIDEBAND"), 0) << i;
    }
    EXPECT_EQ(calls().size(), 100U);
    EXPECT_EQ(q7rdctl("link eth1-x up").output, "refused: interface name holds a character that is not allowed (12)\n");
    EXPECT_EQ(q7rdctl("raw " + std::to_string(RD_CMD_COUNT + 1)).status, 1);
    EXPECT_EQ(q7rdctl("terminate").output, "done (0)\n");
    EXPECT_EQ(daemon.wait(), 0);
}
