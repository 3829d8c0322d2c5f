// Every command, sent over the socket, does its own work and none other's.

#include "rig/rig.h"

#include <sys/utsname.h>

using rig::Client;
using rig::Daemon;
using rig::Lines;

class Dispatch : public rig::Controller
{
  protected:
    // The first tool that a command runs, or "" for none; the reply must be rc.
    template <typename Record>
    std::string first_call(uint32_t cmd, const Record &record, int rc = 0)
    {
        EXPECT_EQ(client_.request(cmd, record), rc) << "command " << cmd;
        const Lines run = calls();
        return run.empty() ? "" : run[0];
    }

    Daemon daemon_;
    Client client_;
};

TEST_F(Dispatch, EachCommandHasItsHandler)
{
    for (const char *name : {"bond0", "eth0", "eth1", "eth5", "sd0", "macv2"}) {
        interface(name);
    }
    fs::create_directories("/sys/class/net/bond0/bonding");
    rig::write_file("/sys/kernel/config/usb_gadget/usbpt/UDC", "\n");
    const std::string script = "/etc/sysapps_script/network/";

    EXPECT_EQ(first_call(RD_CMD_USBNIC, UsbnicRequest{.action = 3, .host_mac = "02::1", .device_mac = "02::2"}),
              "/bin/configfs_gadget_usbpt.sh 02::1 02::2 0");
    EXPECT_EQ(first_call(RD_CMD_MGMT_RECONFIG, MgmtReconfigRequest{.action = 1, .mif = "bond0"}),
              "/sbin/ip link delete dev bond0");
    EXPECT_EQ(first_call(RD_CMD_FIREWALL, FirewallRequest{.ruleset = 3, .operation = 1}),
              script + "fwctrl.sh ping apply");
    EXPECT_EQ(first_call(RD_CMD_CONJOIN, ConjoinRequest{"bond0", {"eth1"}}),
              "/usr/sbin/ifenslave -f bond0 eth1 (loud)");
    EXPECT_EQ(first_call(RD_CMD_LINK, LinkControlRequest{1, "eth1"}), "/sbin/ip link set dev eth1 up");
    EXPECT_EQ(first_call(RD_CMD_BC_IP_RULES, BcIpRulesRequest{"none", "none", "none", "none", "none", "rt2", 0, ""}),
              script + "tendmoor_bc.sh none none none none none rt2 0 ''");
    EXPECT_EQ(first_call(RD_CMD_VLAN_PRIORITY, VlanPriorityRequest{1, "eth0.10"}),
              "/sbin/ip link set dev eth0.10 type vlan egress-qos-map 0:1 1:1 2:1 3:1 4:1 5:1 6:1 7:1");
    EXPECT_EQ(first_call(RD_CMD_SLBC, SlbcRequest{.topology_lldp = 3, .ifname = "eth1"}), "");
    EXPECT_TRUE(wait_for_message("2 rd_slbc_control ERROR - unable to get pid from file"));
    EXPECT_EQ(first_call(RD_CMD_SEND_PACKET, "nosuch", 17), "");
    EXPECT_EQ(first_call(RD_CMD_IPV4_DAD, DadRequest{"eth0", "", 24}), "/bin/arping -D -c 1 -I eth0 ''");
    EXPECT_EQ(first_call(RD_CMD_INIT_IFACES, InitRequest{.is_modular = 1, .is_ngm = 1}, 13),
              "/sbin/ip link set dev eth0 up");
    EXPECT_EQ(first_call(RD_CMD_SIDEBAND, SidebandRequest{.macv2 = 1}), "/sbin/ip link del dev macv2");
    EXPECT_EQ(first_call(RD_CMD_RESET_MGMT, ResetMgmtRequest{.ifname = "bond0"}), "/sbin/ip link del dev bond0");
    EXPECT_EQ(first_call(RD_CMD_MIF_FLUSH, MifFlushRequest{.ifname = "bond0"}),
              "/sbin/ip addr flush dev bond0 scope global");
    EXPECT_EQ(first_call(RD_CMD_DHCP_RELEASE, DhcpReleaseRequest{0, 1}), "/sbin/dhclient -6 -r -1");
    EXPECT_EQ(first_call(RD_CMD_NGM_DEBUG, RouterProbeRequest{0, 5, {}}, 14), "");
    EXPECT_TRUE(wait_for_message("2 rd_ngm_debug ERROR - invalid router count: 5"));
    EXPECT_EQ(first_call(RD_CMD_MDNS_BROWSE, MdnsBrowseServiceRequest{0, 1, 5, "_a._tcp"}),
              script + "fwctrl.sh mdns apply");
    EXPECT_EQ(first_call(RD_CMD_INIT_SMARTNIC,
                         SmartnicRequest{.mode = 1, .lower = "bond0", .mif_mac = "02::1", .physical = "eth5"}),
              "/sbin/ip link delete dev bond0");
    EXPECT_EQ(first_call(RD_CMD_INIT_FRONTDEDICATED, FrontdedicatedRequest{.autoneg = -1, .ifname = "eth5"}),
              "/sbin/ip link set dev eth5 down");
    EXPECT_TRUE(wait_for_message("4 rd_init_frontdedicated set eth5 link 0 rc=0"));
    EXPECT_EQ(first_call(RD_CMD_INIT_FLOP_USB_NIC, FlopUsbNicRequest{.ifname = "eth5"}),
              "/sbin/ip link set dev eth5 down");
    EXPECT_TRUE(wait_for_message("4 rd_init_flop_usb_nic set eth5 link 0 rc=0"));
    EXPECT_EQ(first_call(RD_CMD_LINK_TUNING, LinkTuningRequest{0, 7, 0, 0, "eth1"}, 14), "");
    EXPECT_EQ(first_call(RD_CMD_STATIC_ADDRS, StaticAddrRequest{.ipv6 = 1, .ifname = "eth0"}),
              "/sbin/ip neigh flush nud perm (loud)");
    EXPECT_EQ(first_call(RD_CMD_HOSTNAME, "ctl-07"), "");
    EXPECT_EQ(first_call(RD_CMD_DOMAINNAME, "lab7"), "");
    EXPECT_EQ(first_call(RD_CMD_HOSTS_FILE, "ctl-07"), "");
    utsname names{};
    uname(&names);
    EXPECT_EQ(std::string(names.nodename) + "." + names.domainname, "ctl-07.lab7");
    EXPECT_TRUE(rig::read_file("/etc/hosts").ends_with("\tctl-07\n"));
}

// Commands that start something and do not wait for it: the server answers at once, and reaps it when it ends.
TEST_F(Dispatch, BackgroundToolsAreReapedLater)
{
    answer("/bin/systemctl", 5, 1500);
    answer("/etc/sysapps_script/network/systemautoconf.sh", 6, 1500);
    answer("/bin/arping", 7, 1500);
    const int64_t start = zclock_mono();
    EXPECT_EQ(client_.request(RD_CMD_SERVICE, ServiceRequest{3, 2}), 0);
    EXPECT_EQ(client_.request(RD_CMD_AUTOCONFIG, "argument"), 0);
    EXPECT_EQ(client_.request(RD_CMD_ARPING, ArpingRequest{"eth0", "10.0.0.5", "10.0.0.1"}), 0);
    EXPECT_LT(zclock_mono() - start, 1400);
    for (const char *status : {"1280", "1536", "1792"}) {
        EXPECT_TRUE(wait_for_message("6 rd_server reaped a zombie child. status=" + std::string(status)));
    }
    EXPECT_EQ(client_.request(RD_CMD_SERVICE, ServiceRequest{3, 2}, 42, 1), 1280) << "waits when told";

    fs::remove("/bin/arping");
    EXPECT_EQ(client_.request(RD_CMD_ARPING, ArpingRequest{"eth0", "10.0.0.5", "10.0.0.1"}), 0);
    EXPECT_TRUE(wait_for_message("6 rd_server reaped a zombie child. status=65280"));
    fs::create_symlink("/rig/standin", "/bin/arping");
    const Lines errors = error_log();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), "rd_send_arping ERROR - failed to execv rc=-1"), 1);
    EXPECT_EQ(client_.request(RD_CMD_LINK, LinkControlRequest{1, "eth1"}), 0);
}
