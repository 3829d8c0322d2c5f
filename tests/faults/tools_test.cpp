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

struct Command {
    Reply reply;
    RequestFrame frame;
};

template <typename Record>
static Command row(Reply reply, uint32_t cmd, const Record &record, uint32_t wait = 0)
{
    Command command{reply, {}};
    command.frame.header = {cmd, wait, 42};
    memcpy(command.frame.payload, &record, sizeof record);
    return command;
}

static const Command kCommands[] = {
    row(kBackground, RD_CMD_AUTOCONFIG, "argument"),
    row(kStatus, RD_CMD_USBNIC, UsbnicRequest{.action = 0, .dhcp_server = 1, .address = {"10.0.0.5"}}),
    row(kStatus, RD_CMD_USBNIC, UsbnicRequest{.action = 3, .host_mac = "02::1", .device_mac = "02::2"}),
    row(kStatus, RD_CMD_MGMT_RECONFIG, MgmtReconfigRequest{.action = 1, .vlan = 7, .mif = "bond0", .lwr = {"eth1"}}),
    row(kBackground, RD_CMD_SERVICE, ServiceRequest{3, 2}),
    row(kStatus, RD_CMD_SERVICE, ServiceRequest{3, 2}, 1),
    row(kZero, RD_CMD_FIREWALL, FirewallRequest{.ruleset = 3, .operation = 1}),
    row(kStatus, RD_CMD_FIREWALL, FirewallRequest{.ruleset = 2, .operation = 1}),
    row(kStatus, RD_CMD_CONJOIN, ConjoinRequest{"bond0", {"eth1", "eth5"}}),
    row(kStatus, RD_CMD_LINK, LinkControlRequest{1, "eth1"}),
    row(kBackground, RD_CMD_ARPING, ArpingRequest{"eth0", "10.0.0.5", "10.0.0.1"}),
    row(kStatus, RD_CMD_BC_IP_RULES, BcIpRulesRequest{"none", "none", "none", "none", "none", "rt2", 0, ""}),
    row(kStatus, RD_CMD_VLAN_PRIORITY, VlanPriorityRequest{1, "eth0.10"}),
    row(kStatus, RD_CMD_SLBC, SlbcRequest{.operation = 1, .ifname = "eth1"}),
    row(kStatus, RD_CMD_IPV4_DAD, DadRequest{"eth0", "10.0.0.5", 24}),
    row(kStatus, RD_CMD_INIT_IFACES, InitRequest{.is_modular = 1, .is_ngm = 1, .macaddress = "x"}),
    row(kStatus, RD_CMD_SIDEBAND, SidebandRequest{.operation = 0, .macv2 = 1}),
    row(kZero, RD_CMD_SIDEBAND, SidebandRequest{.operation = 1, .macv2 = 1}),
    row(kStatus, RD_CMD_RESET_MGMT, ResetMgmtRequest{.set_mac = 1, .macsec = 1, .ifname = "bond0", .mac = "02::1"}),
    row(kStatus, RD_CMD_MIF_FLUSH, MifFlushRequest{1, "bond0"}),
    row(kStatus, RD_CMD_DHCP_RELEASE, DhcpReleaseRequest{1, 1}),
    row(kZero, RD_CMD_MDNS_BROWSE, MdnsBrowseServiceRequest{0, 1, 5, "_ipp._tcp"}),
    row(kStatus, RD_CMD_INIT_SMARTNIC, SmartnicRequest{1, 1, {"02::3"}, "bond0", "02::1", "eth5"}),
    row(kStatus, RD_CMD_INIT_FRONTDEDICATED, FrontdedicatedRequest{.autoneg = 1, .ifname = "eth5"}),
    row(kStatus, RD_CMD_INIT_FLOP_USB_NIC, FlopUsbNicRequest{.ifname = "eth5"}),
    row(kZero, RD_CMD_LINK_TUNING, LinkTuningRequest{1, 0, 0, 1, "eth1"}),
    row(kZero, RD_CMD_STATIC_ADDRS, StaticAddrRequest{.ipv6 = 1, .ifname = "eth0", .address = "fd00::5"}),
    row(kStatus, RD_CMD_NGM_DEBUG, RouterProbeRequest{5, 1, {"fe80::1"}}),
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
    ASSERT_EQ(client.request(RD_CMD_DOMAINNAME, "lab7"), 0);
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
    for (const auto &[reply, frame] : kCommands) {
        if (frame.header.cmd == RD_CMD_NGM_DEBUG && forks && !stormy) { // three seconds each time
            continue;
        }
        SCOPED_TRACE("command " + std::to_string(frame.header.cmd));
        platform_log.take();
        const bool in_reply = reply == kStatus || (reply == kBackground && !forks);
        ASSERT_EQ(client.exchange(&frame, sizeof frame).rc, in_reply ? status : 0);
        ASSERT_TRUE(wait_for_message((reply == kBackground && forks ? "reaped a zombie child. status" : "") + end));
        ASSERT_TRUE(wait_for_message(complaint));
    }
    storm = {};
    fs::rename("/rig/whole", kTool);
    fs::remove("/rig/answers");
    EXPECT_EQ(client.request(RD_CMD_LINK, LinkControlRequest{1, "eth1"}), forks ? 0 : -1);
    EXPECT_EQ(client.request(RD_CMD_DOMAINNAME, "lab8"), 0);
}

INSTANTIATE_TEST_SUITE_P(All, Tools, testing::ValuesIn(kFaults), [](const auto &fault) { return fault.param.name; });
