// What tools inherit, processes that are ended by their PID files, and what takes its time.

#include "rig/rig.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;
using rig::Lines;

class Processes : public rig::Controller
{
  protected:
    // A process whose program has this path, and its PID in a file.
    static pid_t start(const std::string &path, const std::string &pid_file)
    {
        fs::create_directories(fs::path(path).parent_path());
        fs::copy_file("/rig/standin", path, fs::copy_options::overwrite_existing);
        answer(path, 0, 20'000);
        const pid_t pid = fork();
        if (pid == 0) {
            execl(path.c_str(), path.c_str(), nullptr);
            _exit(1);
        }
        EXPECT_TRUE(rig::wait_until([] { return fs::exists("/rig/calls"); }));
        calls();
        rig::write_file(pid_file, std::to_string(pid) + "\n");
        return pid;
    }
    static int status_of(pid_t pid)
    {
        int status = 0;
        waitpid(pid, &status, 0);
        return status;
    }
};

// Waited for or not, or started by the ARP announcer.
TEST_F(Processes, ToolsInheritTheEnvironmentAndStandardInputAndNothingElse)
{
    Daemon daemon({"zmqs"}, [] {
        clearenv();
        setenv("PATH", "/opt/bin", 1);
        setenv("IP4_DAD", "1", 1);
        setenv("NOTIFY_SOCKET", "/run/notify", 1); // is for the daemon alone
        umask(0027);
        EXPECT_EQ(chdir("/etc"), 0);
        signal(SIGPIPE, SIG_IGN);
        sigset_t some;
        sigemptyset(&some);
        sigaddset(&some, SIGHUP);
        sigaddset(&some, SIGUSR1);
        sigprocmask(SIG_SETMASK, &some, nullptr);
        dup2(open("/dev/urandom", O_RDONLY), STDIN_FILENO); // and leaves its descriptor open, like a library
    });
    Client client;
    for (const char *request :
         {"LINK ifname=eth1", "SERVICE service=3 action=1", "ARPING ifname=eth0 address=10.0.0.5 gateway=10.0.0.1"}) {
        EXPECT_EQ(client.request(request), 0);
        EXPECT_TRUE(rig::wait_until([] { return fs::exists("/rig/calls"); })); // written after the state
        EXPECT_EQ(state(), "cwd=/etc env=PATH=/opt/bin,IP4_DAD=1, stdin=/dev/urandom others= Umask:0027 "
                           "SigBlk:0000000000000000 SigIgn:0000000000000000\n")
            << request;
        calls();
    }
}

// A PID file may be stale, and its PID another program's by now.
TEST_F(Processes, DisablingAutoconfigurationKillsTheAgentAndNothingElse)
{
    Daemon daemon;
    Client client;
    const std::string pid_file = "/run/q7net/serverconfigagent.pid";
    // 31 characters are looked at
    for (const std::string path :
         {"/run/bin/serverconfigagent", "/run/bin/sshd", "/run/bin/aaaaaaaaaaaa/serverconfigagent"}) {
        const bool is_agent = path == "/run/bin/serverconfigagent";
        const pid_t pid = start(path, pid_file);
        EXPECT_EQ(client.request("AUTOCONFIG autoconf_arg=disable"), 0);
        EXPECT_FALSE(fs::exists(pid_file));
        const std::string number = std::to_string(pid);
        EXPECT_TRUE(wait_for_message(is_agent ? "killed serverconfigagent pid " + number + " rc=0\n"
                                              : "wrong pid " + number + " dont kill " + path.substr(0, 31) + "\n"));
        if (!is_agent) {
            EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);
            kill(pid, SIGKILL);
        }
        EXPECT_EQ(status_of(pid), SIGKILL);
    }
}

TEST_F(Processes, TearingDownTheBackChannelKillsItsDhcpClient)
{
    Daemon daemon;
    const pid_t client = start("/run/bin/dhclient", "/run/dhclientslbc.pid");
    EXPECT_EQ(Client().request("SLBC operation=2 ifname=eth1"), 0);
    EXPECT_EQ(status_of(client), SIGKILL);
    EXPECT_FALSE(fs::exists("/run/dhclientslbc.pid"));
    EXPECT_TRUE(wait_for_message("4 rd_slbc_control kill rc=0"));
}

TEST_F(Processes, LinksAreWaitedForAtMostTenSeconds)
{
    interface("eth0", "unknown\n");
    interface("eth1", "");
    Daemon daemon;
    Client client;
    int64_t start = zclock_mono();
    const std::jthread cable([] {
        zclock_sleep(700);
        rig::write_file("/sys/class/net/eth1/operstate", "up\n");
    });
    EXPECT_EQ(client.request("LINK_TUNING autoneg=1 link_state=1 ifname=eth1"), 0);
    EXPECT_GE(zclock_mono() - start, 700);
    EXPECT_TRUE(
        wait_for_message("4 rd_wait_for_iface_ready eth1 is not ready\n4 rd_wait_for_iface_ready eth1 is up now\n"));
    log();
    start = zclock_mono();
    EXPECT_EQ(client.request("LINK_TUNING autoneg=1 link_state=1 ifname=eth0"), 0);
    EXPECT_GE(zclock_mono() - start, 9'990);
    EXPECT_EQ(log_of("rd_wait_for_iface_ready"), Lines(20, "4 eth0 is not ready"));
}

TEST_F(Processes, WhoFindsTheConflictMarkerFindsTheAddressGone)
{
    Daemon daemon;
    const std::string marker = "/run/q7net/dhcp/ipv4_dad_conflict";
    answer("/bin/arping", 1);
    answer("/sbin/ip addr del", 0, 500);
    const std::jthread reader([&marker] {
        EXPECT_TRUE(rig::wait_until([] { return rig::read_file("/rig/calls").find("del") != std::string::npos; }));
        EXPECT_FALSE(fs::exists(marker));
    });
    EXPECT_EQ(Client().request("IPV4_DAD ifname=eth0 ipaddr=192.168.1.10 prefix_len=24"), 0);
    EXPECT_TRUE(fs::exists(marker));
}

TEST_F(Processes, ServiceMessagesHaveTheMonotonicTime)
{
    Daemon daemon;
    const auto seconds = [] {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_RAW, &now);
        return now.tv_sec;
    };
    const auto before = seconds();
    EXPECT_EQ(Client().request("SERVICE action=1 wait=1"), 0);
    const auto told = std::stol(log_of("rd_systemd_service_control")[0].substr(strlen("4 avahi-daemon start at ")));
    EXPECT_TRUE(before <= told && told <= seconds()) << told;
}
