// What the daemon needs of the kernel is not to be had (descriptors, room on file systems, a reader of its log), or the
// daemon itself is killed.

#include "base/file.h"
#include "rig/rig.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;

using Resources = rig::Controller;

static void limit_descriptors(const Daemon &daemon, rlim_t most)
{
    rlimit now{};
    getrlimit(RLIMIT_NOFILE, &now);
    now.rlim_cur = most;
    ASSERT_EQ(prlimit(daemon.pid(), RLIMIT_NOFILE, &now, nullptr), 0);
}

TEST_F(Resources, WithoutDescriptorsEveryHandlerSaysSoAndRecovers)
{
    interface("eth0");
    interface("macv2");
    fs::create_directories("/sys/class/net/bond0/bonding");
    for (const char *file : {"/sys/kernel/config/usb_gadget/usbpt/UDC", "/proc/sys/net/ipv4/conf/all/forwarding",
                             "/sys/kernel/config/usb_gadget/usbpt/functions/ecm.0/ifname", "/etc/hosts"}) {
        rig::write_file(file, "\n");
    }
    rig::write_file("/etc/lldpd.d/q7eth0.packet", std::string(64, 'x'));
    rig::write_file("/run/dhclientslbc.pid", "2147483647\n");
    Daemon daemon;
    Client client;
    const auto all = [&](bool exhausted) {
        const auto check = [&](const char *request, int rc, int rc_later, const char *message) {
            SCOPED_TRACE(request);
            platform_log.take();
            EXPECT_EQ(client.request(request), exhausted ? rc : rc_later);
            EXPECT_EQ(wait_for_message(message, exhausted ? 10'000 : 50), exhausted) << platform_log.all();
        };
        check("HOSTS_FILE name=ctl-07", 17, 0, "unable to update hosts file Too many open files");
        check("CONJOIN bond=bond0 lower=eth0", 17, 0, "bonding/primary Too many open files");
        check("SEND_PACKET ifname=eth0", 17, -1, "Fail to open file [Too many open files]");
        check("USBNIC action=4", 1, 0, "usbpt/UDC Too many open files");
        check("MGMT_RECONFIG hoplimit=9 mif=eth0", 0, 0, "eth0/hop_limit Too many open files");
        check("INIT_IFACES", 0, 0, "arp_ignore file Too many open files");
        check("SIDEBAND operation=1 macv2=1", 0, 0, "Unable to open macv2 Too many open files");
        check("FIREWALL ruleset=2", 0, 0, "conf/all/forwarding Too many open files");
        check("SLBC topology_lldp=3 ifname=eth0", 0, 0, "unable to get pid from file");
        check("MDNS_BROWSE start=1 interface_index=5 service_type=_ipp._tcp", 0, 0, "unable to create poll");
    };
    EXPECT_EQ(client.request("DOMAINNAME name=lab7"), 0);
    rlim_t free = 0;
    while (fs::is_symlink("/proc/" + std::to_string(daemon.pid()) + "/fd/" + std::to_string(free))) {
        free++;
    }
    limit_descriptors(daemon, free);
    all(true);
    EXPECT_EQ(rig::read_file("/etc/hosts"), "\n");
    EXPECT_TRUE(fs::exists("/run/dhclientslbc.pid"));
    EXPECT_TRUE(calls().back().ends_with(" (loud)")) << "tools run, with the daemon's own output";
    limit_descriptors(daemon, 1024);
    all(false);
}

// What is written in place is left empty; the next request that finds room writes it whole.
TEST_F(Resources, FullAndReadOnlyFileSystems)
{
    const std::string small = "/run/q7net/dhcp/"; // one page
    ASSERT_EQ(mount("small", small.c_str(), "tmpfs", 0, "size=4096"), 0);
    fs::remove("/etc/hosts");
    fs::create_symlink(small + "hosts", "/etc/hosts");
    fs::create_symlink(small + "q7neterrs", "/run/q7net/q7neterrs");
    rig::write_file(small + "filler", std::string(4096, 'x'));
    answer("/bin/arping", 1);
    Daemon daemon;
    Client client;
    const auto expect = [&](int rc, const std::string &error, const char *hosts, const char *marker) {
        platform_log.take();
        EXPECT_EQ(client.request("HOSTS_FILE name=ctl-07"), rc);
        EXPECT_EQ(wait_for_message("unable to update hosts file " + error, 50), !error.empty());
        EXPECT_EQ(client.request("IPV4_DAD ifname=eth0 ipaddr=10.0.0.5 prefix_len=24"), 0);
        EXPECT_TRUE(rig::read_file("/etc/hosts").ends_with(hosts));
        EXPECT_EQ(rig::read_file(small + "ipv4_dad_conflict"), marker);
        EXPECT_EQ(error_log().size(), error.empty() ? 1 : 0);
    };
    expect(0, "No space left on device", "", "");
    fs::remove(small + "filler");
    ASSERT_EQ(mount(nullptr, small.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    expect(17, "Read-only file system", "", "");
    ASSERT_EQ(mount(nullptr, small.c_str(), nullptr, MS_REMOUNT, "size=16384"), 0);
    expect(0, "", "\tctl-07\n", "IPv4DAD_CONFLICT=10.0.0.5");
    umount2(small.c_str(), MNT_DETACH);
    fs::remove("/etc/hosts");
    fs::remove("/run/q7net/q7neterrs");
}

// A listener that has stopped reading costs one second, once, then records; the daemon goes on.
TEST_F(Resources, FullPlatformLogLosesRecordsAndNothingElse)
{
    const Descriptor listener(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    unlink(address.sun_path);
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    Daemon daemon;
    Client client;
    const auto milliseconds_of_20 = [&] {
        const int64_t start = zclock_mono();
        for (int i = 0; i < 20; i++) {
            EXPECT_EQ(client.request("LINK state=1 ifname=eth1"), 0);
        }
        EXPECT_EQ(error_log().size(), 20U) << "which does not suffer";
        return zclock_mono() - start;
    };
    for (int stall = 0; stall < 2; stall++) { // read empty, it takes records again and has its second again
        const int64_t filling = milliseconds_of_20();
        EXPECT_GE(filling, 900);
        EXPECT_LT(milliseconds_of_20(), 20 * 900) << "a full queue costs nothing more";
        std::string records;
        char record[8192];
        for (ssize_t size = 0; (size = recv(listener.get(), record, sizeof record, MSG_DONTWAIT)) > 0;) {
            records += std::string(record, static_cast<size_t>(size));
        }
        EXPECT_NE(records.find("set eth1 up rc=0"), std::string::npos);
    }
}

// The next start finds the socket file of the one before.
TEST_F(Resources, KilledAtAnyMomentItLeavesNothingHalfDone)
{
    answer("/bin/arping", 1);
    for (int moment = 0; moment < 40; moment++) { // a few tenths of a millisecond apart
        platform_log.take();                      // also what the one before still said
        {
            Daemon daemon;
            ASSERT_TRUE(wait_for_message("waiting for msg")); // a client that comes earlier tries again only later
            Client client;
            EXPECT_EQ(client.request("LINK state=1 ifname=eth1"), 0);
            zsock_set_linger(client.socket(), 0);
            const RequestFrame frame = rig::request_of(
                moment % 2 == 0 ? "HOSTS_FILE name=ctl-07" : "IPV4_DAD ifname=eth0 ipaddr=10.0.0.5 prefix_len=24");
            zsock_send(client.socket(), "b", &frame, sizeof frame);
            usleep(static_cast<useconds_t>(moment) * 150);
        } // killed here; a child that is not yet its tool has the socket open a moment longer
        EXPECT_TRUE(rig::wait_until([] {
            const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = RD_SOCKET_PATH};
            return connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0;
        }));
        // Those written in place may be empty; each record of the error log is whole.
        const std::string hosts = rig::read_file("/etc/hosts");
        EXPECT_TRUE(hosts.empty() || hosts == "(none)" || hosts.ends_with("\tctl-07\n")) << hosts;
        const std::string marker = rig::read_file("/run/q7net/dhcp/ipv4_dad_conflict");
        EXPECT_TRUE(marker.empty() || marker == "(none)" || marker == "IPv4DAD_CONFLICT=10.0.0.5") << marker;
        error_log();
    }
    EXPECT_TRUE(fs::exists(RD_SOCKET_PATH));
}
