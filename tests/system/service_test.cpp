#include "system/service.h"

#include "rig/rig.h"

#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

static const std::string kScript = "/etc/sysapps_script/network/systemautoconf.sh";
static const char *const kPidFile = "/run/q7net/serverconfigagent.pid";
static const char *const kLeaseMarker = "/run/q7net/dhcp/lease_obtained_ipv4";

class Service : public rig::Controller
{
  protected:
    static int autoconfig(const std::string &argument)
    {
        AutoconfigRequest request{};
        strcpy(request.autoconf_arg, argument.c_str());
        return rd_server_autoconfig_launch(&request);
    }
    static int service(uint32_t service, uint32_t action, uint32_t wait)
    {
        const ServiceRequest request{service, action};
        return rd_systemd_service_control(&request, wait);
    }
    Lines settled_calls() // of tools that were not waited for
    {
        EXPECT_TRUE(rig::wait_until([] { return fs::exists("/rig/calls"); }));
        while (waitpid(-1, nullptr, 0) > 0) {
        }
        return calls();
    }
    // A process whose program has this path.
    static pid_t start_agent(const std::string &path)
    {
        fs::create_directories(fs::path(path).parent_path());
        fs::copy_file("/rig/standin", path, fs::copy_options::overwrite_existing);
        answer(path, 0, 20'000);
        const pid_t agent = fork();
        if (agent == 0) {
            execl(path.c_str(), path.c_str(), nullptr);
            _exit(1);
        }
        EXPECT_TRUE(rig::wait_until([] { return fs::exists("/rig/calls"); }));
        calls();
        rig::write_file(kPidFile, std::to_string(agent) + "\n");
        return agent;
    }
};

TEST_F(Service, AutoconfigLaunchesTheScriptAndDoesNotWait)
{
    answer(kScript, 5, 300);
    const int64_t start = zclock_mono();
    EXPECT_EQ(autoconfig(""), 0);
    EXPECT_LT(zclock_mono() - start, 250);
    EXPECT_EQ(settled_calls(), Lines{kScript});
    EXPECT_EQ(autoconfig("disabled now"), 0);
    EXPECT_EQ(settled_calls(), Lines{kScript + " 'disabled now'"});
    EXPECT_EQ(autoconfig(std::string(1023, 'x')), 0);
    EXPECT_EQ(settled_calls(), Lines{kScript + " " + std::string(1023, 'x')});
    EXPECT_EQ(log(), Lines(3, "4 rd_server_autoconfig_launch "));
}

TEST_F(Service, DisableKillsTheAgent)
{
    const pid_t agent = start_agent("/run/bin/serverconfigagent");
    EXPECT_EQ(autoconfig("disable"), 0);
    int status = 0;
    waitpid(agent, &status, 0);
    EXPECT_EQ(status, SIGKILL);
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_EQ(log_of("rd_server_autoconfig_launch"),
              (Lines{"4 ", "4 disabling", "4 read /run/bin/serverconfigagent",
                     "4 killed serverconfigagent pid " + std::to_string(agent) + " rc=0"}));
}

// A PID file may be stale, and its PID another program's by now.
TEST_F(Service, DisableSparesOtherPrograms)
{
    for (const std::string path :
         {"/run/bin/sshd", "/run/bin/aaaaaaaaaaaa/serverconfigagent"}) { // too long to see the word
        const pid_t other = start_agent(path);
        EXPECT_EQ(autoconfig("disable"), 0);
        EXPECT_EQ(waitpid(other, nullptr, WNOHANG), 0);
        EXPECT_EQ(log_of("rd_server_autoconfig_launch").back(),
                  "4 wrong pid " + std::to_string(other) + " dont kill " + path.substr(0, 31));
        EXPECT_FALSE(fs::exists(kPidFile));
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
    }
    rig::write_file(kPidFile, "2147483647\n");
    EXPECT_EQ(autoconfig("disable"), 0);
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_EQ(log_of("rd_server_autoconfig_launch"),
              (Lines{"4 ", "4 disabling", "4 couldnt open /proc/2147483647/cmdline No such file or directory",
                     "4 wrong pid 2147483647 dont kill /proc/2147483647/cmdline"}));
    rig::write_file(kPidFile, "1\n");
    EXPECT_EQ(autoconfig("disable"), 0);
    EXPECT_FALSE(fs::exists(kPidFile));
    EXPECT_EQ(log_of("rd_server_autoconfig_launch").back(), "4 couldnt get pid from " + std::string(kPidFile));
}

TEST_F(Service, RunsSystemctlForEachUnit)
{
    const char *const units[] = {"avahi-daemon", "lldpd-topology", "llmnrd",         "network",   "nodediscd",
                                 nullptr,        "radvd",          "dhclient",       "dhclient6", "dhclient6s",
                                 "dhcpd6",       "q7mdnspublish",  "wpa_supplicant", "ddnsreg"};
    const char *const actions[] = {"stop", "start", "restart"};
    answer("/bin/systemctl restart", 3);
    for (uint32_t i = 0; i < 14; i++) {
        for (uint32_t action = 0; action < 3 && units[i] != nullptr; action++) {
            EXPECT_EQ(service(i, action, 1), action == 2 ? 768 : 0);
            EXPECT_EQ(calls(), Lines{"/bin/systemctl " + std::string(actions[action]) + " " + units[i]});
        }
    }
    const Lines messages = log_of("rd_systemd_service_control");
    EXPECT_EQ(messages.size(), 13U * 3 * 2);
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    const std::string begin = "4 avahi-daemon start at ";
    EXPECT_TRUE(messages[2].starts_with(begin)) << messages[2];
    EXPECT_NEAR(std::stod(messages[2].substr(begin.size())), static_cast<double>(now.tv_sec), 20);
    EXPECT_TRUE(messages[3].starts_with("4 completed avahi-daemon start at ")) << messages[3];
}

TEST_F(Service, WaitsOnlyWhenTold)
{
    answer("/bin/systemctl", 3, 300);
    for (const uint32_t wait : {0U, 2U, 4294967295U}) {
        const int64_t start = zclock_mono();
        EXPECT_EQ(service(3, 2, wait), 0);
        EXPECT_LT(zclock_mono() - start, 250);
    }
    EXPECT_EQ(settled_calls(), Lines(3, "/bin/systemctl restart network"));
    EXPECT_EQ(service(3, 2, 1), 768);
}

TEST_F(Service, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(service(14, 0, 1), 12);
    EXPECT_EQ(service(4294967295, 9, 1), 12);
    EXPECT_EQ(service(0, 3, 1), 12);
    EXPECT_EQ(service(7, 4294967295, 1), 12);
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(log_of("rd_systemd_service_control"),
              (Lines{"2 ERROR - invalid service name: 14", "2 ERROR - invalid service name: -1",
                     "2 ERROR - invalid action: 3", "2 ERROR - invalid action: -1"}));
}

TEST_F(Service, StartingDhclientForgetsItsLease)
{
    const std::pair<uint32_t, bool> cases[] = {{0, true}, {1, false}, {2, false}, {3, true}};
    for (const auto &[action, kept] : cases) {
        rig::write_file(kLeaseMarker, "");
        service(7, action, 1);
        EXPECT_EQ(fs::exists(kLeaseMarker), kept) << action;
    }
    EXPECT_EQ(service(7, 1, 1), 0) << "no marker to delete";
}

TEST_F(Service, KxDhclientIsRunDirectly)
{
    const std::string words =
        " -nw -cf /etc/systemd/network/dhkxmgmt.conf -lf /var/lib/dhcp/dhclientkx.leases -pf /var/run/dhclientkx.pid";
    const std::string kill_it = "/sbin/dhclient -x" + words;
    const std::string start_it = "/sbin/dhclient -4" + words;
    EXPECT_EQ(service(5, 1, 1), 0);
    EXPECT_EQ(calls(), Lines{start_it});
    EXPECT_EQ(log(), Lines{"4 rd_kx_dhcp_ctrl kx dhcp client started"});
    answer("/sbin/dhclient -x", 1);
    answer("/sbin/dhclient -4", 2);
    EXPECT_EQ(service(5, 0, 1), 256);
    EXPECT_EQ(calls(), Lines{kill_it});
    log();
    EXPECT_EQ(service(5, 7, 1), 512);
    EXPECT_EQ(calls(), (Lines{kill_it, start_it}));
    EXPECT_EQ(log_of("rd_kx_dhcp_ctrl"), (Lines{"4 killing kx dhclient", "4 unable to get kx dhcp pid from file",
                                                "2 ERROR - failed to start kx dhcp client"}));
    EXPECT_EQ(service(5, 0, 0), 256) << "stopping is always waited for";
    calls();
    EXPECT_EQ(service(5, 2, 0), 0) << "the start is not waited for";
    EXPECT_EQ(settled_calls(), (Lines{kill_it, start_it}));
}

TEST_F(Service, ReleasesTheLeasesAskedFor)
{
    answer("/sbin/dhclient -4", 1);
    answer("/sbin/dhclient -6", 2);
    const std::pair<DhcpReleaseRequest, int> cases[] = {{{0, 0}, 0}, {{1, 0}, 256}, {{0, -1}, 512}, {{-1, 2}, 768}};
    Lines expected;
    for (const auto &[request, code] : cases) {
        EXPECT_EQ(rd_dhcp_release(&request), code);
    }
    EXPECT_EQ(calls(), (Lines{"/sbin/dhclient -4 -r -1", "/sbin/dhclient -6 -r -1", "/sbin/dhclient -4 -r -1",
                              "/sbin/dhclient -6 -r -1"}));
    const Lines messages = log();
    EXPECT_EQ(Lines(messages.end() - 3, messages.end()),
              (Lines{"4 rd_dhcp_release DHCP4:-1 DHCP6:2", "4 rd_dhcp_release dhclient -4 -r rc=256",
                     "4 rd_dhcp_release dhclient -6 -r rc=512"}));
}
