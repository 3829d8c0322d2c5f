#include "hostnic/usbnic.h"

#include "rig/rig.h"

using rig::Lines;

static const std::string kGadget = "/sys/kernel/config/usb_gadget/usbpt/";
static const std::string kUdc = kGadget + "UDC";
static const std::string kPidFile = "/run/udhcpd_usbpt.pid";
static const std::string kFlush = "/sbin/ip addr flush dev usbpt scope global";

class Usbnic : public rig::Controller
{
  protected:
    Usbnic()
    {
        interface("usbpt");
        rig::write_file(kUdc, "\n");
        rig::write_file(kGadget + "functions/ecm.0/ifname", "usb0\n");
        rig::write_file(kGadget + "functions/rndis.0/ifname", "usb1\n");
    }
    static UsbnicRequest request(uint32_t action)
    {
        return {.action = action, .host_mac = "02:00:00:00:01:01", .device_mac = "02:00:00:00:01:02"};
    }
};

TEST_F(Usbnic, CreatesTheGadgetAndNothingElse)
{
    UsbnicRequest create = request(3);
    create.gadget_flag = 7;
    answer("/bin/configfs_gadget_usbpt.sh", 3);
    EXPECT_EQ(rd_usbnic_action(&create), 768);
    create.gadget_flag = 0;
    strcpy(create.address[0], "192.168.7.1");
    EXPECT_EQ(rd_usbnic_action(&create), 768);
    EXPECT_EQ(calls(), (Lines{"/bin/configfs_gadget_usbpt.sh 02:00:00:00:01:01 02:00:00:00:01:02 1",
                              "/bin/configfs_gadget_usbpt.sh 02:00:00:00:01:01 02:00:00:00:01:02 0"}));
    EXPECT_EQ(log(), (Lines{"4 rd_usbnic_action initializing usbpt", "4 rd_init_usbnic ",
                            "4 rd_usbnic_action initializing usbpt", "4 rd_init_usbnic "}));
}

TEST_F(Usbnic, RefusesBadMacAddresses)
{
    struct {
        std::string host;
        std::string device;
        int code;
        std::string message;
    } const cases[] = {{"", "02", 13, "missing usbnic mac addresses"},
                       {"x", "", 13, "missing usbnic mac addresses"},
                       {"0x", "0y", 12, "Invalid host mac address"},
                       {"02", "00:11:22:33:44:5G", 12, "Invalid device mac address"},
                       {"00:11:22:33:44:555", "02", 11, "Invalid host mac address"}};
    for (const auto &c : cases) {
        UsbnicRequest bad{.action = 3};
        memcpy(bad.host_mac, c.host.data(), c.host.size());
        memcpy(bad.device_mac, c.device.data(), c.device.size());
        EXPECT_EQ(rd_usbnic_action(&bad), c.code);
        EXPECT_EQ(log(), (Lines{"4 rd_usbnic_action initializing usbpt", "2 rd_init_usbnic ERROR - " + c.message}));
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Usbnic, ComesUpAsABroadcastBond)
{
    UsbnicRequest up = request(1);
    up.dhcp_server = 1;
    up.prefix_length = 40;
    strcpy(up.address[0], "192.168.7.1");
    strcpy(up.address[2], "fde1::1");
    answer("/usr/sbin/udhcpd", 1);
    EXPECT_EQ(rd_usbnic_action(&up), 256);
    const std::string forever = " dev usbpt valid_lft forever preferred_lft forever";
    EXPECT_EQ(calls(),
              (Lines{kFlush, "/sbin/ip link add dev usbpt address 02:00:00:00:01:02 type bond mode broadcast",
                     "/sbin/ip link set dev usbpt up", "/sbin/ip link set dev usb0 down",
                     "/sbin/ip link set dev usb0 master usbpt", "/sbin/ip link set dev usb1 down",
                     "/sbin/ip link set dev usb1 master usbpt", "/sbin/ip link set dev usb0 up",
                     "/sbin/ip link set dev usb1 up", "/sbin/ip link set dev usbpt up",
                     "/sbin/ip addr add 192.168.7.1/32" + forever + " broadcast 192.168.7.1",
                     "/sbin/ip addr add fde1::1/64" + forever, "/usr/sbin/udhcpd -S /etc/systemd/network/usbpt.conf"}));
    EXPECT_EQ(rig::read_file(kUdc), "f0835000.udc\n");
    Lines messages = log();
    std::erase_if(messages, [](const std::string &m) {
        return m.find(" rd_usbnic") == std::string::npos && m.find(" rd_set_usbnic") == std::string::npos;
    });
    EXPECT_EQ(messages,
              (Lines{"4 rd_usbnic_action flushing all global addrs", "4 rd_set_usbnic_driver_state disabling driver",
                     "5 rd_set_usbnic_driver_state wrote 1 bytes to " + kUdc,
                     "4 rd_set_usbnic_driver_state driver command OK", "4 rd_set_usbnic_driver_state enabling driver",
                     "5 rd_set_usbnic_driver_state wrote 13 bytes to " + kUdc,
                     "4 rd_set_usbnic_driver_state driver command OK", "4 rd_usbnic_action setting usbpt link state up",
                     "4 rd_usbnic_action starting udhcpd"}));
    EXPECT_EQ(ipv6("usbpt"), "003");
}

TEST_F(Usbnic, GoesDownAndStopsTheDhcpServer)
{
    rig::write_file(kUdc, "f0835000.udc\n");
    rig::write_file(kPidFile, "4321\n");
    UsbnicRequest down = request(0);
    answer("/sbin/ip addr flush", 1);
    answer("/bin/kill", 1);
    EXPECT_EQ(rd_usbnic_action(&down), 0);
    EXPECT_EQ(calls(), (Lines{kFlush, "/bin/kill -HUP 4321", "/sbin/ip link set dev usbpt down"}));
    EXPECT_EQ(rig::read_file(kUdc), "\n");
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_usbnic_action flushing all global addrs",
               "3 rd_usbnic_action WARN - failed to flush global addrs rc=256",
               "4 rd_set_usbnic_driver_state disabling driver", "5 rd_set_usbnic_driver_state wrote 1 bytes to " + kUdc,
               "4 rd_set_usbnic_driver_state driver command OK", "5 rd_get_pid_from_file pids:'4321\\n' pid:4321",
               "4 rd_usbnic_action killing udhcpd pid 4321", "4 rd_usbnic_action setting usbpt link state down",
               "4 rd_link_control set usbpt down rc=0"}));

    fs::remove(kPidFile);
    answer("/sbin/ip link set dev usbpt down", 2);
    EXPECT_EQ(rd_usbnic_action(&down), 512);
    EXPECT_EQ(calls(), (Lines{kFlush, "/sbin/ip link set dev usbpt down"}));
    EXPECT_EQ(log_of("rd_usbnic_action")[2], "4 unable to get udhcpd pid from file");
    rig::write_file(kPidFile, "1\n");
    UsbnicRequest up = request(1);
    EXPECT_EQ(rd_usbnic_action(&up), 1) << "PID 1 is no PID of udhcpd's";
}

TEST_F(Usbnic, RenewsOnlyIpv6Addresses)
{
    UsbnicRequest renew = request(2);
    answer("/sbin/ip -6 addr flush", 2);
    EXPECT_EQ(rd_usbnic_action(&renew), 512);
    memset(renew.address, ':', sizeof renew.address); // full fields are cut
    EXPECT_EQ(rd_usbnic_action(&renew), 0);
    const Lines run = calls();
    ASSERT_EQ(run.size(), 5U);
    EXPECT_EQ(run[0], "/sbin/ip -6 addr flush dev usbpt scope global");
    EXPECT_TRUE(run[2].starts_with("/sbin/ip addr add " + std::string(45, ':') + "/64 dev usbpt "));
    EXPECT_EQ(rig::read_file(kUdc), "\n");
    EXPECT_EQ(log_of("rd_usbnic_action"), Lines(2, "4 update ULA: flushing global IPv6 addrs"));
}

TEST_F(Usbnic, OtherActionsOnlyUnbind)
{
    UsbnicRequest other = request(4294967295);
    other.dhcp_server = 1;
    EXPECT_EQ(rd_usbnic_action(&other), 0);
    EXPECT_EQ(calls(), Lines{kFlush});
    EXPECT_EQ(log_of("rd_set_usbnic_driver_state").size(), 3U) << "the first try succeeds";
    fs::remove_all(kGadget);
    EXPECT_EQ(rd_usbnic_action(&other), 1);
    const Lines once = {"4 disabling driver", "2 ERROR - failed to open " + kUdc + " No such file or directory"};
    Lines four_times;
    for (int i = 0; i < 4; i++) {
        four_times.insert(four_times.end(), once.begin(), once.end());
    }
    EXPECT_EQ(log_of("rd_set_usbnic_driver_state"), four_times);

    UsbnicRequest up = request(1); // four times in each direction, and on with the rest
    up.dhcp_server = 1;
    memset(up.device_mac, 'd', sizeof up.device_mac); // cut to its field
    EXPECT_EQ(rd_usbnic_action(&up), 0);
    const Lines tries = log_of("rd_set_usbnic_driver_state");
    EXPECT_EQ(std::count(tries.begin(), tries.end(), "4 disabling driver"), 4);
    EXPECT_EQ(std::count(tries.begin(), tries.end(), "4 enabling driver"), 4);
    EXPECT_EQ(calls()[2], "/sbin/ip link add dev usbpt address " + std::string(17, 'd') + " type bond mode broadcast");
}

// What the kernel shows decides, not whether it took the write: the last of these refuses any text.
TEST_F(Usbnic, ReadsBackWhatBecameOfTheDriver)
{
    struct {
        const char *reads_from;
        uint32_t enable;
        std::string message;
    } const cases[] = {{"/dev/null", 1, "2 ERROR - unable to read from " + kUdc},
                       {"/dev/null", 0, "2 ERROR - unable to read from " + kUdc},
                       {"/proc/self/oom_score_adj", 0, "2 ERROR - invalid write to " + kUdc},
                       {"/proc/self/oom_score_adj", 1, "2 ERROR - invalid write to " + kUdc}};
    for (const auto &c : cases) {
        fs::remove(kUdc);
        fs::create_symlink(c.reads_from, kUdc);
        EXPECT_EQ(rd_set_usbnic_driver_state(c.enable), 1);
        EXPECT_EQ(log_of("rd_set_usbnic_driver_state").back(), c.message);
    }
}

TEST_F(Usbnic, MissingFunctionIsLeftOut)
{
    fs::remove(kGadget + "functions/ecm.0/ifname");
    rig::write_file(kGadget + "functions/rndis.0/ifname", "abcdefgh12345678\n"); // cut to 15
    UsbnicRequest up = request(1);
    up.dhcp_server = 1;
    rd_usbnic_action(&up);
    EXPECT_EQ(calls(),
              (Lines{kFlush, "/sbin/ip link add dev usbpt address 02:00:00:00:01:02 type bond mode broadcast",
                     "/sbin/ip link set dev usbpt up", "/sbin/ip link set dev abcdefgh1234567 down",
                     "/sbin/ip link set dev abcdefgh1234567 master usbpt", "/sbin/ip link set dev abcdefgh1234567 up",
                     "/sbin/ip link set dev usbpt up", "/usr/sbin/udhcpd -S /etc/systemd/network/usbpt.conf"}));
    EXPECT_EQ(log_of("rd_usbnic_do_enjoinment"),
              Lines{"3 WARN - Unable to open " + kGadget + "functions/ecm.0/ifname No such file or directory"});
}
