// Tools that cannot be run or end badly: what the client is told, what the log says, and that the next request is served.
// There are three kinds of start: waited for, not waited for, and the ARP announcer's own.

#include "rig/rig.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

static constexpr const char *kTool = "/rig/standin"; // every tool's path leads to it

// The daemon has no children any more, but threads.
static void refuse_forks()
{
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_vfork, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(program), program};
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        _exit(96);
    }
}

struct Fault {
    const char *name;
    int status;            // of every tool, as the daemon sees it
    const char *complaint; // one more message that each start brings
    std::function<void()> make = [] {};
    int answer = 0;     // what each tool is told to end with
    bool storm = false; // whether SIGCHLD arrives all the time that the daemon does not receive
};

static const Fault kFaults[] = {
    {"missing", 65280, "failed to execv", [] { fs::remove(kTool); }},
    {"not a program", 65280, "failed to execv", [] { fs::resize_file(kTool, 100); }},
    {"cannot be forked", -1, "failed to fork"},
    {"killed", SIGKILL, "", [] {}, -SIGKILL},
    {"ending with the highest status", 65280, "", [] {}, 255},
    {"refusing in a storm of SIGCHLD", 768, "", [] {}, 3, true},
};

using Tools = rig::Controller;

TEST_F(Tools, FailuresAreToldAndTheNextRequestIsServed)
{
    fs::copy(kTool, "/rig/whole");
    for (const auto &[name, status, complaint, make, told, stormy] : kFaults) {
        SCOPED_TRACE(name);
        const bool forks = status >= 0;
        const rig::Daemon daemon({"zmqs"}, [forks] { forks ? void() : refuse_forks(); });
        rig::Client client;
        ASSERT_EQ(client.request("DOMAINNAME name=lab7"), 0);
        make();
        answer("/", told, stormy ? 10 : 0);
        std::jthread storm([&, wanted = stormy](const std::stop_token &stop) {
            while (wanted && !stop.stop_requested()) {
                daemon.is_receiving() ? 0 : kill(daemon.pid(), SIGCHLD); // or each would count as an empty receive
                usleep(300);
            }
        });
        const std::string reaped = "reaped a zombie child. status=" + std::to_string(status) + "\n";
        for (const char *request : {"LINK state=1 ifname=eth1", "SERVICE service=3 action=2",
                                    "ARPING ifname=eth0 address=10.0.0.5 gateway=10.0.0.1"}) {
            platform_log.take();
            const bool in_reply = *request == 'L' || !forks;
            EXPECT_EQ(client.request(request), in_reply ? status : 0) << request;
            EXPECT_TRUE(in_reply || rig::wait_until([&] {
                            client.have_children_reaped();
                            return platform_log.all().find(reaped) != std::string::npos;
                        }))
                << request;
            EXPECT_TRUE(wait_for_message(complaint)) << request;
        }
        storm = {};
        fs::remove(kTool);
        fs::copy("/rig/whole", kTool);
        fs::remove("/rig/answers");
        EXPECT_EQ(client.request("LINK state=1 ifname=eth1"), forks ? 0 : -1);
    }
}
