// Publishing and browsing with a real Avahi daemon that comes late, hangs or dies, and a bus that dies. What another machine
// sees and answers is shown by scripts/demo.

#include "rig/rig.h"

#include <sys/wait.h>
#include <unistd.h>

class RealMdns : public rig::Controller
{
  protected:
    RealMdns()
    {
        // NOLINTNEXTLINE(cert-env33-c)
        EXPECT_EQ(system("ip link add usbpt type veth peer name peer0; ip addr add 192.168.7.1/24 dev usbpt;"
                         "ip link set lo up; ip link set peer0 up; ip link set usbpt up"),
                  0);
        EXPECT_TRUE(rig::wait_until([] { return fs::exists("/run/dbus/system_bus_socket"); }));
    }
    ~RealMdns() override
    {
        stop(avahi_);
        stop(bus_);
        EXPECT_EQ(system("ip link del usbpt"), 0); // NOLINT(cert-env33-c)
    }
    static pid_t start(const char *what)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            execl("/rig/q7avahi", "q7avahi", what, nullptr);
            _exit(127);
        }
        return pid;
    }
    static void stop(pid_t &pid)
    {
        if (pid > 0) {
            kill(pid, SIGCONT);
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
        pid = -1;
    }

    pid_t bus_ = start("bus");
    pid_t avahi_ = -1;
};

TEST_F(RealMdns, PublisherOutlivesItsDaemonAndEndsWithItsBus)
{
    rig::Daemon publisher({"mdnspub", "192.168.7.1"});
    ASSERT_TRUE(wait_for_message("creating avahi client"));
    size_t descriptors = 0;
    for (int i = 0; i < 3; i++) { // waits for the first, and starts over with each new one
        platform_log.take();
        avahi_ = start("daemon");
        EXPECT_TRUE(wait_for_message("avahi entry group committed", 30'000));
        descriptors = i == 0 ? rig::open_descriptors(publisher.pid()) : descriptors;
        EXPECT_EQ(rig::open_descriptors(publisher.pid()), descriptors);
        stop(avahi_);
        EXPECT_TRUE(wait_for_message("5 av_client_cb avahi daemon restarted: Daemon connection failed"));
    }
    stop(bus_);
    EXPECT_TRUE(wait_for_message("failed to create avahi mdns client"));
    EXPECT_EQ(publisher.wait(), 0) << "for the service manager to start it again";
}

TEST_F(RealMdns, BrowsesNeverHoldTheServerUp)
{
    rig::Daemon daemon;
    rig::Client client;
    const auto browse = [&](int start) {
        EXPECT_EQ(
            client.request("MDNS_BROWSE interface_index=-1 service_type=_ipp._tcp start=" + std::to_string(start)), 0);
    };
    browse(1);
    EXPECT_TRUE(wait_for_message("ERROR - cant create srvc browser: Bad state")) << "without an Avahi daemon";
    EXPECT_TRUE(wait_for_message("thread exiting"));
    const size_t descriptors = rig::open_descriptors(daemon.pid());
    const auto all_closed = [&] { // a browse that has no loop yet cannot be stopped
        return rig::wait_until([&] {
            browse(0);
            return rig::open_descriptors(daemon.pid()) == descriptors;
        });
    };
    const auto browse_runs = [&] { // without the daemon, which is still coming, each ends by itself
        const auto started = [&] {
            platform_log.take();
            browse(1);
            return wait_for_message("ALL_FOR_NOW", 5'000);
        };
        return rig::wait_until(started, 60'000);
    };

    avahi_ = start("daemon");
    EXPECT_TRUE(browse_runs());
    for (int i = 0; i < 10; i++) {
        browse(1);
    }
    EXPECT_TRUE(all_closed());
    kill(avahi_, SIGSTOP);
    browse(1); // its thread waits for the stopped daemon
    browse(0);
    browse(1);
    EXPECT_EQ(client.request("LINK state=1 ifname=lo"), 0);
    kill(avahi_, SIGCONT);
    for (pid_t *const lost : {&avahi_, &bus_}) {
        avahi_ = avahi_ > 0 ? avahi_ : start("daemon");
        EXPECT_TRUE(browse_runs());
        stop(*lost);
        EXPECT_TRUE(wait_for_message("cant connect to server: Daemon connection failed"));
        EXPECT_TRUE(wait_for_message("thread exiting"));
        EXPECT_TRUE(all_closed());
    }
    EXPECT_EQ(client.request("LINK state=1 ifname=lo"), 0) << "the bus took nobody with it";
}
