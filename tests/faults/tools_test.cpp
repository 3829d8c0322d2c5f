// Tools that cannot be run or end badly, under every command that runs tools: what the client is told, what the log
// says, and that the next request is served.

#include "rig/rig.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;

static constexpr const char *kTool = "/rig/standin"; // every tool's path leads to it

enum Reply {
    kStatus,     // what the last tool came to
    kBackground, // 0 as soon as the tool was started
    kZero,       // 0: only the log tells
};

static const std::pair<Reply, std::string> kCommands[] = {
    {kBackground, "AUTOCONFIG autoconf_arg=argument"},
    {kStatus, "USBNIC action=0 dhcp_server=1 address=10.0.0.5"},
    {kStatus, "USBNIC action=3 host_mac=02::1 device_mac=02::2"},
    {kStatus, "MGMT_RECONFIG action=1 vlan=7 mif=bond0 lwr=eth1"},
    {kBackground, "SERVICE service=3 action=2"},
    {kStatus, "SERVICE service=3 action=2 wait=1"},
    {kZero, "FIREWALL ruleset=3 operation=1"},
    {kStatus, "FIREWALL ruleset=2 operation=1"},
    {kStatus, "CONJOIN bond=bond0 lower=eth1,eth5"},
    {kStatus, "LINK state=1 ifname=eth1"},
    {kBackground, "ARPING ifname=eth0 address=10.0.0.5 gateway=10.0.0.1"},
    {kStatus, "BC_IP_RULES ifname=none address=none netmask=none gateway=none dns=none table=rt2"},
    {kStatus, "VLAN_PRIORITY priority=1 ifname=eth0.10"},
    {kStatus, "SLBC operation=1 ifname=eth1"},
    {kStatus, "IPV4_DAD ifname=eth0 ipaddr=10.0.0.5 prefix_len=24"},
    {kStatus, "INIT_IFACES is_modular=1 is_ngm=1 macaddress=x"},
    {kStatus, "SIDEBAND macv2=1"},
    {kZero, "SIDEBAND operation=1 macv2=1"},
    {kStatus, "RESET_MGMT set_mac=1 macsec=1 ifname=bond0 mac=02::1"},
    {kStatus, "MIF_FLUSH ipv6_default_route=1 ifname=bond0"},
    {kStatus, "DHCP_RELEASE dhcp4=1 dhcp6=1"},
    {kZero, "MDNS_BROWSE firewall=1 interface_index=5 service_type=_ipp._tcp"},
    {kStatus, "INIT_SMARTNIC mode=1 count=1 snic_mac=02::3 lower=bond0 mif_mac=02::1 physical=eth5"},
    {kStatus, "INIT_FRONTDEDICATED autoneg=1 ifname=eth5"},
    {kStatus, "INIT_FLOP_USB_NIC ifname=eth5"},
    {kZero, "LINK_TUNING autoneg=1 link_state=1 ifname=eth1"},
    {kZero, "STATIC_ADDRS ipv6=1 ifname=eth0 address=fd00::5"},
    {kStatus, "NGM_DEBUG interface_index=5 count=1 router=fe80::1"},
};

// The daemon has no children any more, but threads.
static void refuse_forks()
{
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_vfork, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(program), program};
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        _exit(96);
    }
}

struct Fault {
    const char *name;
    int status;            // of every tool, as the daemon sees it
    const char *complaint; // one more message that each command brings
    std::function<void()> make;
    int answer = 0;     // what each tool is told to end with
    bool storm = false; // whether SIGCHLD arrives all the time that the daemon does not receive
    friend void PrintTo(const Fault &fault, std::ostream *stream) { *stream << fault.name; }
};

static const Fault kFaults[] = {
    {"Missing", 65280, "failed to execv", [] { fs::remove(kTool); }},
    {"NotExecutable", 65280, "failed to execv", [] { fs::permissions(kTool, fs::perms::owner_read); }},
    {"NotAProgram", 65280, "failed to execv", [] { fs::resize_file(kTool, 100); }},
    {"CannotBeForked", -1, "failed to fork", [] {}},
    {"Killed", SIGKILL, "", [] {}, -SIGKILL},
    {"Refusing", 256, "", [] {}, 1},
    {"EndingWithTheHighestStatus", 65280, "", [] {}, 255},
    {"RefusingInAStormOfSigchld", 768, "", [] {}, 3, true},
};

class Tools : public rig::Controller, public testing::WithParamInterface<Fault>
{
};

TEST_P(Tools, EveryCommandTellsAndTheNextIsServed)
{
    const auto &[name, status, complaint, make, told, stormy] = GetParam();
    const bool forks = status >= 0;
    for (const char *ifname : {"bond0", "eth0", "eth1", "eth5", "macv2"}) {
        interface(ifname);
    }
    fs::create_directories("/sys/class/net/bond0/bonding");
    rig::write_file("/sys/kernel/config/usb_gadget/usbpt/UDC", "\n");
    Daemon daemon({"zmqs"}, [forks] { forks ? void() : refuse_forks(); });
    Client client;
    ASSERT_EQ(client.request("DOMAINNAME name=lab7"), 0);
    fs::copy(kTool, "/rig/whole");
    make();
    answer("/", told, stormy ? 10 : 0);
    std::jthread storm([&, wanted = stormy](const std::stop_token &stop) {
        while (wanted && !stop.stop_requested()) {
            if (!daemon.is_receiving()) { // where each would count as an empty receive
                kill(daemon.pid(), SIGCHLD);
            }
            usleep(300);
        }
    });
    const std::string end = "=" + std::to_string(status) + "\n";
    for (const auto &[reply, request] : kCommands) {
        if (request.starts_with("NGM_DEBUG") && forks && !stormy) { // three seconds each time
            continue;
        }
        SCOPED_TRACE(request);
        platform_log.take();
        const bool in_reply = reply == kStatus || (reply == kBackground && !forks);
        ASSERT_EQ(client.request(request), in_reply ? status : 0);
        const bool reaped = reply == kBackground;
        ASSERT_TRUE(in_reply || rig::wait_until([&] { // else the log tells
                        reaped ? client.have_children_reaped() : void();
                        const std::string told_of = (reaped ? "reaped a zombie child. status" : "") + end;
                        return platform_log.all().find(told_of) != std::string::npos;
                    }));
        ASSERT_TRUE(wait_for_message(complaint));
    }
    storm = {};
    fs::rename("/rig/whole", kTool);
    fs::remove("/rig/answers");
    EXPECT_EQ(client.request("LINK state=1 ifname=eth1"), forks ? 0 : -1);
    EXPECT_EQ(client.request("DOMAINNAME name=lab8"), 0);
}

INSTANTIATE_TEST_SUITE_P(All, Tools, testing::ValuesIn(kFaults), [](const auto &fault) { return fault.param.name; });
