// What the daemon needs of the kernel is not to be had (descriptors, room on file systems, memory, a reader of its log, the
// clock), or the daemon itself is killed.

#include "base/file.h"
#include "base/log.h"
#include "rig/rig.h"

#include <algorithm>
#include <ctime>
#include <set>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;

static bool no_clock = false;
static bool no_local_time = false;

// These come before the C library's. NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" time_t time(time_t *result) noexcept
{
    EXPECT_EQ(result, nullptr);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return no_clock ? -1 : now.tv_sec;
}
extern "C" tm *localtime_r(const time_t *seconds, tm *result) noexcept
{
    return no_local_time ? nullptr : gmtime_r(seconds, result);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

class Resources : public rig::Controller
{
};

static const char *const kLink = "LINK state=1 ifname=eth1";

static void limit(const Daemon &daemon, __rlimit_resource resource, rlim_t most)
{
    rlimit now{};
    getrlimit(resource, &now);
    now.rlim_cur = std::min(most, now.rlim_max);
    ASSERT_EQ(prlimit(daemon.pid(), resource, &now, nullptr), 0);
}

TEST_F(Resources, WithoutDescriptorsEveryHandlerSaysSoAndRecovers)
{
    interface("eth0");
    interface("macv2");
    fs::create_directories("/sys/class/net/bond0/bonding");
    for (const char *file : {"/sys/kernel/config/usb_gadget/usbpt/UDC", "/proc/sys/net/ipv4/conf/all/forwarding",
                             "/sys/kernel/config/usb_gadget/usbpt/functions/ecm.0/ifname"}) {
        rig::write_file(file, "\n");
    }
    rig::write_file("/etc/lldpd.d/q7eth0.packet", std::string(64, 'x'));
    rig::write_file("/run/dhclientslbc.pid", "2147483647\n");
    rig::write_file("/etc/hosts", "before\n");
    Daemon daemon;
    Client client;
    const std::string none = " Too many open files";
    const auto all = [&](bool exhausted) {
        const auto check = [&](const char *request, int rc, int rc_later, const std::string &message) {
            SCOPED_TRACE(request);
            platform_log.take();
            EXPECT_EQ(client.request(request), exhausted ? rc : rc_later);
            EXPECT_EQ(wait_for_message(message, exhausted ? 10'000 : 50), exhausted) << platform_log.all();
        };
        check("HOSTS_FILE name=ctl-07", 17, 0, "unable to update hosts file" + none);
        check("CONJOIN bond=bond0 lower=eth0", 17, 0, "bonding/primary" + none);
        check("SEND_PACKET ifname=eth0", 17, -1, "Fail to open file [Too many open files]");
        check("USBNIC action=4", 1, 0, "usbpt/UDC" + none);
        check("USBNIC action=1", 1, 1, "ecm.0/ifname" + none);
        check("MGMT_RECONFIG action=1 mif=bond0", 0, 0, "miimon for bond0" + none);
        check("MGMT_RECONFIG hoplimit=9 mif=eth0", 0, 0, "eth0/hop_limit" + none);
        check("INIT_IFACES", 0, 0, "arp_ignore file" + none);
        check("STATIC_ADDRS autoconfig_only=1 ifname=eth0", 0, 0, "eth0/accept_ra" + none);
        check("SIDEBAND operation=1 macv2=1", 0, 0, "Unable to open macv2" + none);
        check("FIREWALL ruleset=2", 0, 0, "conf/all/forwarding" + none);
        check("SLBC topology_lldp=3 ifname=eth0", 0, 0, "unable to get pid from file");
        check("MDNS_BROWSE start=1 interface_index=5 service_type=_ipp._tcp", 0, 0, "unable to create poll");
    };
    EXPECT_EQ(client.request("DOMAINNAME name=lab7"), 0);
    rlim_t free = 0;
    while (fs::is_symlink("/proc/" + std::to_string(daemon.pid()) + "/fd/" + std::to_string(free))) {
        free++;
    }
    limit(daemon, RLIMIT_NOFILE, free);
    all(true);
    EXPECT_EQ(rig::read_file("/etc/hosts"), "before\n");
    EXPECT_TRUE(fs::exists("/run/dhclientslbc.pid"));
    EXPECT_TRUE(calls().back().ends_with(" (loud)")) << "tools run, with the daemon's own output";
    limit(daemon, RLIMIT_NOFILE, 1024);
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
        EXPECT_TRUE(wait_for_message("duplicate address detected on eth0: 10.0.0.5/24"));
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

// Takes /dev/log over, and reads only when told.
static int listen_instead()
{
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    unlink(address.sun_path);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return listener;
}

static std::string drain(int listener)
{
    std::string records;
    char record[8192];
    for (ssize_t size = 0; (size = recv(listener, record, sizeof record, MSG_DONTWAIT)) > 0;) {
        records += std::string(record, static_cast<size_t>(size));
    }
    return records;
}

// A listener that has stopped reading costs one second, then records; the daemon goes on.
TEST_F(Resources, FullPlatformLogLosesRecordsAndNothingElse)
{
    const Descriptor listener(listen_instead());
    Daemon daemon;
    Client client;
    const auto milliseconds_of_20 = [&] {
        const int64_t start = zclock_mono();
        for (int i = 0; i < 20; i++) {
            EXPECT_EQ(client.request(kLink), 0);
        }
        EXPECT_EQ(error_log().size(), 20U) << "which does not suffer";
        return zclock_mono() - start;
    };
    zsock_set_rcvtimeo(client.socket(), 5'000);
    for (int stall = 0; stall < 2; stall++) { // read empty, it takes records again and has its second again
        const int64_t filling = milliseconds_of_20();
        EXPECT_TRUE(filling >= 900 && filling < 2'000) << filling;
        EXPECT_LT(milliseconds_of_20(), 500) << "a full queue costs nothing more";
        EXPECT_NE(drain(listener.get()).find("set eth1 up rc=0"), std::string::npos);
    }
}

TEST_F(Resources, RecordsWithoutAClockHaveNoTime)
{
    const Descriptor listener(listen_instead());
    for (bool *const missing : {&no_clock, &no_local_time}) {
        *missing = true;
        RD_WARN("no time\n");
        *missing = false;
        EXPECT_TRUE(drain(listener.get()).starts_with("<28>q7net-shellexec: TestBody():"));
        EXPECT_TRUE(rig::read_file("/run/q7net/q7neterrs").starts_with("[] TestBody():"));
        fs::remove("/run/q7net/q7neterrs");
    }
}

// Frames are allocated by the library as they come: what does not fit is dropped with its sender's connection.
TEST_F(Resources, MessageLargerThanMemoryCostsOnlyItsSender)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own allocator ends the process";
#endif
    Daemon daemon;
    Client bystander;
    EXPECT_EQ(bystander.request("DOMAINNAME name=lab7"), 0);
    limit(daemon, RLIMIT_AS, 0); // nothing new; what malloc has reserved stays usable
    {
        Client sender;
        zsock_set_linger(sender.socket(), 0);
        zsock_set_rcvtimeo(sender.socket(), 1'000);
        const std::vector<char> part(RD_MAX_MESSAGE - 100);
        for (int i = 0; i < 1200; i++) {
            zframe_t *frame = zframe_new(part.data(), part.size());
            zframe_send(&frame, sender.socket(), i < 1199 ? ZFRAME_MORE : 0);
        }
        EXPECT_EQ(zframe_recv(sender.socket()), nullptr);
    }
    EXPECT_EQ(bystander.request("DOMAINNAME name=lab8"), 0);
    const int without = bystander.request(kLink);
    EXPECT_NE(without, 0) << "no tool starts";
    limit(daemon, RLIMIT_AS, RLIM_INFINITY);
    EXPECT_EQ(bystander.request(kLink), 0);
}

class Restart : public Resources
{
  protected:
    bool serves() // a client that comes earlier tries again only after a tenth of a second
    {
        const bool serving = wait_for_message("waiting for msg", 2'000);
        platform_log.take();
        return serving;
    }
    // The next start finds the socket file of the one before.
    void expect_serving_at_once()
    {
        EXPECT_TRUE(fs::exists(RD_SOCKET_PATH));
        platform_log.take();
        Daemon daemon;
        EXPECT_TRUE(serves());
        EXPECT_EQ(Client().request(kLink), 0);
        platform_log.take();
    }
};

TEST_F(Restart, KilledAtAnyMomentItLeavesNothingHalfDone)
{
    answer("/bin/arping", 1);
    for (int moment = 0; moment < 60; moment++) { // a tenth of a millisecond apart
        {
            Daemon daemon;
            ASSERT_TRUE(serves());
            Client client;
            zsock_set_linger(client.socket(), 0);
            const RequestFrame frame = rig::request_of(
                moment % 2 == 0 ? "HOSTS_FILE name=ctl-07" : "IPV4_DAD ifname=eth0 ipaddr=10.0.0.5 prefix_len=24");
            zframe_t *request = zframe_new(&frame, sizeof frame);
            zframe_send(&request, client.socket(), 0);
            usleep(static_cast<useconds_t>(moment) * 100);
        } // killed here
        // Those written in place may be empty; each record of the error log is whole.
        const std::string hosts = rig::read_file("/etc/hosts");
        EXPECT_TRUE(hosts.empty() || hosts == "(none)" || hosts.ends_with("\tctl-07\n")) << hosts;
        const std::string marker = rig::read_file("/run/q7net/dhcp/ipv4_dad_conflict");
        EXPECT_TRUE(marker.empty() || marker == "(none)" || marker == "IPv4DAD_CONFLICT=10.0.0.5") << marker;
        error_log();
        expect_serving_at_once();
    }
    for (const auto &entry : fs::recursive_directory_iterator("/run/q7net")) {
        const std::set<std::string> names = {"dhcp", "ipv4_dad_conflict", "q7neterrs", "q7rd.socket"};
        EXPECT_TRUE(names.contains(entry.path().filename())) << entry.path();
    }
}

// The library ends the process when a connection comes in for which there is no descriptor.
TEST_F(Restart, EndsWithoutADescriptorForAConnectionThenServesAgain)
{
    {
        Daemon daemon;
        ASSERT_TRUE(serves());
        limit(daemon, RLIMIT_NOFILE, 3);
        const Client client;
        EXPECT_EQ(daemon.wait(), 1 << 8) << "at once and without a core dump";
    }
    expect_serving_at_once();
}
