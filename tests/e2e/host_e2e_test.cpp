// Firewall rules, host-facing interfaces and packets with the real tools.

#include "e2e/shell.h"
#include "firewall/rulesets.h"
#include "firewall/slbc.h"
#include "rig/rig.h"

#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

using rig::Lines;

class RealHost : public rig::Controller
{
  protected:
    RealHost()
    {
        for (const std::string name : {"eth2", "eth3", "usbe0"}) {
            shell("ip link add " + name + " type veth peer name far" + name + "; ip link set far" + name +
                  " up; ip link set " + name + " up");
        }
    }
    ~RealHost() override { shell("for i in eth2 eth3 usbe0; do ip link del $i; done"); }

    // All rules, and those of the nat table.
    static std::string rules() { return shell("iptables -S; iptables -t nat -S"); }
    static size_t count(const std::string &text, const std::string &part)
    {
        size_t found = 0;
        for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++) {
            found++;
        }
        return found;
    }
};

TEST_F(RealHost, UsbNatRulesAreNeverDoubledOrMissed)
{
    const std::string none = rules();
    ASSERT_TRUE(has(none, "-P INPUT ACCEPT")) << none;
    EXPECT_EQ(rd_usb_nat_fw_control(1), 0);
    const std::string once = rules();
    EXPECT_TRUE(has(once, "-A POSTROUTING -s 169.254.0.0/16 -o bond0 -j MASQUERADE")) << once;
    EXPECT_EQ(count(once, "-A FORWARD"), 2U);
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv4/conf/all/forwarding"), "1\n");
    EXPECT_EQ(rd_usb_nat_fw_control(1), 0);
    EXPECT_EQ(rules(), once);
    shell("iptables -D FORWARD -s 169.254.0.0/16 -o bond0 -j ACCEPT");
    EXPECT_EQ(rd_usb_nat_fw_control(1), 0);
    EXPECT_EQ(count(rules(), "-A FORWARD"), 2U);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(rd_usb_nat_fw_control(0), 0);
        EXPECT_EQ(rules(), none);
    }
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv4/conf/all/forwarding"), "0\n");
}

TEST_F(RealHost, BackChannelRulesGoAsTheyCame)
{
    const std::string none = rules();
    for (const char *proxy : {"", "10.0.0.5"}) {
        EXPECT_EQ(rd_back_channel_firewall(1, 0, "eth2", proxy), 0);
        const std::string once = rules();
        EXPECT_EQ(count(once, "-j DROP"), 2U) << once;
        EXPECT_TRUE(has(once, proxy[0] != '\0' ? "-s 10.0.0.5/32 -i eth2 -p tcp" : "--sport 443 -m conntrack")) << once;
        EXPECT_EQ(rd_back_channel_firewall(1, 0, "eth2", proxy), 0);
        EXPECT_EQ(rules(), once);
        EXPECT_EQ(rd_back_channel_firewall(0, 0, "eth2", proxy), 0);
        EXPECT_EQ(rules(), none);
    }
}

// Receives on an interface, as the machine at the far end of the cable.
class Receiver
{
  public:
    explicit Receiver(const char *ifname) : socket_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL)))
    {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_ALL);
        address.sll_ifindex = static_cast<int>(if_nametoindex(ifname));
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        const timeval limit{5, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Receiver() { close(socket_); }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    std::string next(uint16_t ethertype) // "" when none comes
    {
        char frame[2048];
        ssize_t size = 0;
        while ((size = recv(socket_, frame, sizeof frame, 0)) > 0) {
            uint16_t type = 0;
            memcpy(&type, frame + 12, sizeof type);
            if (type == htons(ethertype)) {
                return {frame, static_cast<size_t>(size)};
            }
        }
        return "";
    }

  private:
    int socket_;
};

TEST_F(RealHost, StoredFrameLeavesByteForByte)
{
    rig::Daemon daemon;
    rig::Client client;
    Receiver far("fareth2");
    shell("ip link set eth2 mtu 2000; ip link set fareth2 mtu 2000"); // 1500 lets no untagged frame of 1522 bytes pass
    client.request(RD_CMD_SEND_PACKET, "");                           // opens the logger's connection
    const size_t descriptors = rig::open_descriptors(daemon.pid());
    for (const size_t size : {64U, 1000U, 1522U, 2000U}) {
        std::string frame("\x01\x80\xc2\x00\x00\x0e\x02\x00\x00\x00\x00\x01\x88\xcc", 14);
        for (size_t i = frame.size(); i < size; i++) {
            frame.push_back(static_cast<char>(i * 7));
        }
        rig::write_file("/etc/lldpd.d/q7eth2.packet", frame);
        const std::string sent = frame.substr(0, 1522);
        EXPECT_EQ(client.request(RD_CMD_SEND_PACKET, "eth2"), static_cast<int>(sent.size()));
        EXPECT_TRUE(far.next(0x88cc) == sent) << size;
    }
    EXPECT_EQ(rig::open_descriptors(daemon.pid()), descriptors);
}

TEST_F(RealHost, ArpingReachesTheFarEnd)
{
    rig::Daemon daemon;
    rig::Client client;
    Receiver far("fareth2");
    shell("ip addr add 10.0.0.5/24 dev eth2");
    EXPECT_EQ(client.request(RD_CMD_ARPING, ArpingRequest{"eth2", "10.0.0.5", "10.0.0.1"}), 0);
    const std::string arp = far.next(ETH_P_ARP);
    ASSERT_GE(arp.size(), 42U);
    EXPECT_EQ(arp.substr(28, 4), std::string("\x0a\x00\x00\x05", 4)) << "the sender's address";
    EXPECT_TRUE(wait_for_message("reaped a zombie child"));
}

TEST_F(RealHost, NamesAndHostsFile)
{
    rig::Daemon daemon;
    rig::Client client;
    EXPECT_EQ(client.request(RD_CMD_HOSTNAME, "ctl-01"), 0);
    EXPECT_EQ(client.request(RD_CMD_DOMAINNAME, "lab"), 0);
    EXPECT_EQ(client.request(RD_CMD_HOSTS_FILE, "ctl-01"), 0);
    utsname names{};
    uname(&names);
    EXPECT_EQ(std::string(names.nodename) + "." + names.domainname, "ctl-01.lab");
    EXPECT_TRUE(rig::read_file("/etc/hosts").ends_with("127.0.0.1\tctl-01\n"));
}

TEST_F(RealHost, SidebandMacvlansAndFlush)
{
    rig::Daemon daemon;
    rig::Client client;
    SidebandRequest sideband{.operation = 1,
                             .macv2 = 1,
                             .macv3 = 1,
                             .macve0 = 1,
                             .macv2_mac = "02:00:00:00:00:22",
                             .macv3_mac = "02:00:00:00:00:33"};
    EXPECT_EQ(client.request(RD_CMD_SIDEBAND, sideband), 0);
    const std::string links = shell("ip -br link show type macvlan");
    EXPECT_TRUE(has(links, "macv2@eth2") && has(links, "02:00:00:00:00:33") && has(links, "macve0@usbe0")) << links;
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv6/conf/macv2/disable_ipv6"), "1\n");
    shell("ip addr add 10.0.0.9/24 dev macv2; ip link set macv2 up");
    EXPECT_EQ(client.request(RD_CMD_MIF_FLUSH, MifFlushRequest{.ipv6_default_route = 1, .ifname = "macv2"}), 0);
    EXPECT_FALSE(has(shell("ip addr show macv2"), "10.0.0.9"));
    sideband.operation = 0;
    EXPECT_EQ(client.request(RD_CMD_SIDEBAND, sideband), 0);
    EXPECT_EQ(shell("ip -br link show type macvlan"), "");
    EXPECT_EQ(client.request(RD_CMD_SIDEBAND, sideband), 256);
}

TEST_F(RealHost, SmartnicLayout)
{
    rig::Daemon daemon;
    rig::Client client;
    SmartnicRequest smartnic{.mode = 1,
                             .count = 2,
                             .snic_mac = {"02:00:00:00:01:00", "02:00:00:00:01:01"},
                             .lower = "mif0",
                             .mif_mac = "02:00:00:00:00:0f",
                             .physical = "eth3"};
    EXPECT_EQ(client.request(RD_CMD_INIT_SMARTNIC, smartnic), 0);
    EXPECT_TRUE(has(shell("ip -br link show eth3"), "00:51:50:10:10:60"));
    EXPECT_TRUE(has(shell("ip -d link show mif0"), "macvlan mode private"));
    EXPECT_TRUE(has(shell("ip -6 addr show sd1"), "fde1:53ba:e9a0:de42::1/64"));
    EXPECT_EQ(if_nametoindex("sd2"), 0U);
    smartnic.mode = 0;
    EXPECT_EQ(client.request(RD_CMD_INIT_SMARTNIC, smartnic), 0);
    EXPECT_TRUE(has(shell("ip -br link show eth3"), "02:00:00:00:00:0f"));
    EXPECT_TRUE(has(shell("ip -d link show mif0"), "macvlan mode passthru"));
    EXPECT_EQ(if_nametoindex("sd0"), 0U);
    EXPECT_EQ(
        client.request(RD_CMD_RESET_MGMT, ResetMgmtRequest{.set_mac = 1, .ifname = "mif0", .mac = "02:00:00:00:00:aa"}),
        0);
    EXPECT_EQ(if_nametoindex("mif0"), 0U);
    EXPECT_TRUE(has(shell("ip -br link show eth2"), "02:00:00:00:00:aa"));
}

TEST_F(RealHost, VlanPriority)
{
    if (has(shell("ip link add link eth2 name eth2.10 type vlan id 10"), "Unknown device type")) {
        GTEST_SKIP() << "this kernel has no 802.1Q";
    }
    rig::Daemon daemon;
    rig::Client client;
    EXPECT_EQ(client.request(RD_CMD_VLAN_PRIORITY, VlanPriorityRequest{5, "eth2.10"}), 0);
    EXPECT_TRUE(has(shell("ip -d link show eth2.10"), "egress-qos-map { 0:5 1:5 2:5 3:5 4:5 5:5 6:5 7:5 }"));
}
