// Processes that are ended by their PID files, what a child inherits, and the clock.

#include "firewall/commands.h"
#include "firewall/firewall.h"
#include "rig/rig.h"
#include "system/commands.h"
#include "system/service.h"

#include <sys/wait.h>
#include <unistd.h>

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

// A PID file may be stale, and its PID another program's by now.
TEST_F(Processes, DisablingAutoconfigurationKillsTheAgentAndNothingElse)
{
    const AutoconfigRequest disable{"disable"};
    const std::string pid_file = "/run/q7net/serverconfigagent.pid";
    const std::pair<std::string, bool> cases[] = {{"/run/bin/serverconfigagent", true},
                                                  {"/run/bin/sshd", false},
                                                  // 31 characters are looked at
                                                  {"/run/bin/aaaaaaaaaaaa/serverconfigagent", false}};
    for (const auto &[path, is_agent] : cases) {
        const pid_t pid = start(path, pid_file);
        EXPECT_EQ(rd_server_autoconfig_launch(&disable), 0);
        EXPECT_FALSE(fs::exists(pid_file));
        const std::string last = log_of("rd_server_autoconfig_launch").back();
        if (is_agent) {
            EXPECT_EQ(last, "4 killed serverconfigagent pid " + std::to_string(pid) + " rc=0");
        } else {
            EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);
            EXPECT_EQ(last, "4 wrong pid " + std::to_string(pid) + " dont kill " + path.substr(0, 31));
            kill(pid, SIGKILL);
        }
        EXPECT_EQ(status_of(pid), SIGKILL);
    }
}

TEST_F(Processes, TearingDownTheBackChannelKillsItsDhcpClient)
{
    const pid_t client = start("/run/bin/dhclient", "/run/dhclientslbc.pid");
    const SlbcRequest request{.operation = 2, .ifname = "eth1"};
    EXPECT_EQ(rd_slbc_control(&request), 0);
    EXPECT_EQ(status_of(client), SIGKILL);
    EXPECT_FALSE(fs::exists("/run/dhclientslbc.pid"));
    EXPECT_EQ(log_of("rd_slbc_control"), Lines{"4 kill rc=0"});
}

TEST_F(Processes, ArpingInheritsNothing)
{
    const ArpingRequest request{"eth0", "10.0.0.5", "10.0.0.1"};
    EXPECT_EQ(rd_send_arping(&request), 0);
    wait(nullptr);
    EXPECT_NE(state().find(" others= SigBlk=none SigIgn=none"), std::string::npos) << state();
}

TEST_F(Processes, ServiceMessagesHaveTheMonotonicTime)
{
    const ServiceRequest request{0, 1};
    EXPECT_EQ(rd_systemd_service_control(&request, 1), 0);
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    const Lines messages = log_of("rd_systemd_service_control");
    const std::string begin = "4 avahi-daemon start at ";
    ASSERT_TRUE(messages[0].starts_with(begin)) << messages[0];
    EXPECT_NEAR(std::stod(messages[0].substr(begin.size())), static_cast<double>(now.tv_sec), 20);
}

TEST_F(Processes, FirewallScriptHasTwoActions)
{
    EXPECT_EQ(rd_fw_control(2, "mdns", nullptr, nullptr), 16);
    EXPECT_EQ(rd_fw_control(-2, "mdns", nullptr, nullptr), 16);
    EXPECT_EQ(rd_fw_control(-1, "mdns", nullptr, nullptr), 0);
    EXPECT_EQ(log(), Lines(2, "2 rd_fw_control ERROR - invalid command"));
    EXPECT_EQ(calls(), Lines{});
}
