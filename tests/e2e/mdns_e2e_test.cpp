// Publishing and browsing with real Avahi daemons: the controller's and one of another machine at the cable's far end.

#include "e2e/shell.h"
#include "rig/rig.h"

#include <net/if.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

class RealMdns : public rig::Controller
{
  protected:
    RealMdns()
    {
        shell("ip netns add far; ip link add usbpt type veth peer name peer0 netns far; ip link set lo up;"
              "ip -n far link set lo up; ip -n far addr add 192.168.7.2/24 dev peer0; ip -n far link set peer0 up;"
              "ip addr add 192.168.7.1/24 dev usbpt; ip link set usbpt up");
        bus_ = run("/rig/q7avahi bus");
        run("/rig/q7avahi far bus");
        EXPECT_TRUE(
            rig::wait_until([] { return fs::exists("/run/dbus/system_bus_socket") && fs::exists("/run/far/bus"); }));
        start_avahi();
        run("/rig/q7avahi far daemon");
        EXPECT_TRUE(rig::wait_until([] { return has(far("avahi-browse -t _none._tcp; echo rc=$?"), "rc=0"); }));
    }
    ~RealMdns() override
    {
        for (const pid_t pid : started_) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        shell("pkill -9 avahi; ip link del usbpt; ip netns del far");
    }
    pid_t run(const std::string &command) // in the background
    {
        const pid_t pid = fork();
        if (pid == 0) {
            execl("/bin/sh", "sh", "-c", ("exec " + command + " >/dev/null 2>&1").c_str(), nullptr);
            _exit(127);
        }
        started_.push_back(pid);
        return pid;
    }
    void start_avahi() { avahi_ = run("/rig/q7avahi daemon"); }
    void stop(pid_t pid)
    {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        std::erase(started_, pid);
    }
    void stop_avahi() { stop(avahi_); }
    static std::string far(const std::string &command) { return shell("/rig/q7avahi far run " + command); }
    static bool far_resolves()
    {
        return rig::wait_until(
            [] { return has(far("timeout 2 avahi-resolve -4 -n ovrak.local"), "ovrak.local\t192.168.7.1"); }, 20'000);
    }

    static std::string on_usbpt() { return " interface_index=" + std::to_string(if_nametoindex("usbpt")); }

    pid_t bus_ = -1;
    pid_t avahi_ = -1;

  private:
    std::vector<pid_t> started_;
};

TEST_F(RealMdns, HostRecordIsSeenAtTheFarEndAndOutlivesTheDaemon)
{
    rig::Daemon publisher({"mdnspub", "192.168.7.1"});
    EXPECT_TRUE(far_resolves());
    EXPECT_TRUE(wait_for_message("mDNS published DNS record ovrak.local=192.168.7.1 on iface #" +
                                 std::to_string(if_nametoindex("usbpt"))));
    const size_t descriptors = rig::open_descriptors(publisher.pid());
    for (int i = 0; i < 3; i++) {
        platform_log.take();
        stop_avahi();
        EXPECT_TRUE(wait_for_message("5 av_client_cb avahi daemon restarted: Daemon connection failed"));
        start_avahi();
        EXPECT_TRUE(wait_for_message("4 av_create_dns_record avahi entry group committed", 20'000));
    }
    EXPECT_TRUE(far_resolves());
    EXPECT_EQ(rig::open_descriptors(publisher.pid()), descriptors);
    EXPECT_EQ(kill(publisher.pid(), 0), 0) << "the same process";
}

TEST_F(RealMdns, BrowsesLeaveNothingAndEndWithTheDaemon)
{
    rig::Daemon daemon;
    rig::Client client;
    const auto browse = [&client](const std::string &start) {
        EXPECT_EQ(client.request("MDNS_BROWSE service_type=_zerotouchprovsrv._tcp start=" + start + on_usbpt()), 0);
    };
    browse("1");
    EXPECT_TRUE(wait_for_message("ALL_FOR_NOW"));
    browse("0");
    EXPECT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
    const size_t descriptors = rig::open_descriptors(daemon.pid());
    for (int i = 0; i < 10; i++) {
        browse("1");
        zclock_sleep(50);
    }
    browse("0");
    EXPECT_TRUE(rig::wait_until([&] { return rig::open_descriptors(daemon.pid()) == descriptors; }));
    EXPECT_FALSE(has(shell("cat /proc/" + std::to_string(daemon.pid()) + "/task/*/comm"), "av_mdns"));

    // The daemon dies during a browse: the cycle ends.
    browse("1");
    platform_log.take();
    zclock_sleep(200);
    stop_avahi();
    EXPECT_TRUE(wait_for_message("4 av_mdns_browse_client_cb cant connect to server: Daemon connection failed"));
    EXPECT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
}

TEST_F(RealMdns, PublisherWaitsForItsDaemonAndEndsWithItsBus)
{
    stop_avahi();
    {
        rig::Daemon early({"mdnspub", "192.168.7.1"});
        ASSERT_TRUE(wait_for_message("creating avahi client"));
        start_avahi();
        EXPECT_TRUE(wait_for_message("avahi entry group committed"));
        platform_log.take();
    }
    kill(avahi_, SIGSTOP);
    rig::Daemon publisher({"mdnspub", "192.168.7.1"});
    ASSERT_TRUE(wait_for_message("creating avahi client"));
    EXPECT_FALSE(wait_for_message("committed", 500));
    kill(avahi_, SIGCONT);
    EXPECT_TRUE(wait_for_message("avahi entry group committed"));
    platform_log.take();
    stop(bus_);
    EXPECT_TRUE(wait_for_message("avahi daemon restarted: Daemon connection failed"));
    EXPECT_TRUE(wait_for_message("failed to create avahi mdns client"));
    EXPECT_EQ(publisher.wait(), 0) << "for the service manager to start it again";
}

TEST_F(RealMdns, BrowseNeverHoldsTheServerUp)
{
    stop_avahi();
    rig::Daemon daemon;
    rig::Client client;
    zsock_set_rcvtimeo(client.socket(), 2'000);
    const auto browse = [&](int start) {
        EXPECT_EQ(
            client.request("MDNS_BROWSE interface_index=-1 service_type=_ipp._tcp start=" + std::to_string(start)), 0);
    };
    browse(1);
    EXPECT_TRUE(wait_for_message("ERROR - cant create srvc browser: Bad state")) << "without an Avahi daemon";
    EXPECT_TRUE(wait_for_message("thread exiting"));
    const size_t descriptors = rig::open_descriptors(daemon.pid());

    start_avahi();
    EXPECT_TRUE(rig::wait_until([] { return has(shell("avahi-browse -t _ipp._tcp; echo rc=$?"), "rc=0"); }));
    kill(avahi_, SIGSTOP);
    platform_log.take();
    browse(1); // its thread waits for the stopped daemon
    browse(0);
    browse(1);
    EXPECT_EQ(client.request("LINK state=1 ifname=lo"), 0);
    kill(avahi_, SIGCONT);
    EXPECT_TRUE(wait_for_message("state = RUNNING"));
    browse(0);
    EXPECT_TRUE(rig::wait_until([&] { return rig::open_descriptors(daemon.pid()) == descriptors; }));

    browse(1);
    EXPECT_TRUE(wait_for_message("ALL_FOR_NOW"));
    platform_log.take();
    stop(bus_);
    EXPECT_TRUE(wait_for_message("cant connect to server: Daemon connection failed"));
    EXPECT_TRUE(wait_for_message("thread exiting"));
    EXPECT_EQ(client.request("LINK state=1 ifname=lo"), 0) << "the bus took nobody with it";
    EXPECT_EQ(rig::open_descriptors(daemon.pid()), descriptors);
}
