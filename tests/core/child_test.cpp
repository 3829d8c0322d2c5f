// What runs tools, where a request alone cannot show it: signals and threads that meet the start of a child.

#include "base/child.h"

#include "base/log.h"
#include "rig/rig.h"

#include <algorithm>

#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

static const char *const kTool[] = {"/bin/ping", "-c", "1", nullptr};
static const char *const kSlowTool[] = {"/bin/systemctl", "restart", "network", nullptr};
static const char *const kMissingTool[] = {"/bin/nosuch", nullptr};

class Child : public rig::Controller
{
  protected:
    Child()
    { // children that end interrupt system calls, as in the daemon
        struct sigaction action {
        };
        action.sa_handler = [](int) {};
        sigaction(SIGCHLD, &action, nullptr);
    }
    ~Child() override
    {
        while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
        }
    }
};

// Other children that end while one is waited for, or while the daemon sleeps, change neither status nor time.
TEST_F(Child, WaitsAndSleepsAreNotCutShort)
{
    const auto start_background = [] {
        for (int i = 0; i < 20; i++) {
            rd_exec_cmd(kTool, 0, 1);
            zclock_sleep(3);
        }
    };
    answer("/bin/systemctl", 3, 500);
    answer("/bin/ping", 0, 200);
    start_background();
    EXPECT_EQ(rd_exec_cmd(kSlowTool, 1, 1), 768);
    start_background();
    const int64_t start = zclock_mono();
    rd_sleep_us(500'000);
    EXPECT_GE(zclock_mono() - start, 499);
}

TEST_F(Child, AStatusThatAnotherThreadTookReadsAsZero)
{
    answer("/bin/ping", 3);
    const auto before = signal(SIGCHLD, SIG_IGN); // the kernel takes it
    EXPECT_EQ(rd_exec_cmd(kTool, 1, 1), 0);
    signal(SIGCHLD, before);
}

TEST_F(Child, FailedExecIsReportedOnceWhateverOtherThreadsLog)
{
    atexit([] { rig::write_file("/run/exit-handler-of-" + std::to_string(getpid()), ""); });
    constexpr int kTimes = 100;
    const auto chatter = [](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            RD_WARN("chatter\n"); // NOLINT(bugprone-lambda-function-name)
        }
    };
    std::jthread first(chatter);
    std::jthread second(chatter);
    for (int i = 0; i < kTimes; i++) {
        EXPECT_EQ(rd_exec_cmd(kMissingTool, 1, 1), 65280);
    }
    first = {};
    second = {};
    const Lines messages = error_log();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "rd_exec_cmd ERROR - failed to execv"), kTimes);
    EXPECT_EQ(std::distance(fs::directory_iterator("/run"), {}), 1) << "only /run/q7net: no exit handler ran";
}

// The child shares our memory until it is the tool: a handler that ran in it would do so behind our back.
static pid_t handler_of;
static volatile sig_atomic_t ran_elsewhere;

TEST_F(Child, SignalsRunNoHandlerInTheChild)
{
    handler_of = getpid();
    signal(SIGUSR1, [](int) { ran_elsewhere = ran_elsewhere != 0 || getpid() != handler_of ? 1 : 0; });
    setpgid(0, 0);
    const pid_t group = getpgrp();
    const pid_t storm = fork();
    if (storm == 0) {
        setpgid(0, 0);
        while (kill(-group, SIGUSR1) == 0) {
            usleep(20);
        }
        _exit(0);
    }
    int hit = 0;
    for (int i = 0; i < 10'000 && hit < 3; i++) { // a tool that a signal ended was hit between fork and exec
        hit += rd_exec_cmd(kTool, 1, 1) == SIGUSR1 ? 1 : 0;
    }
    kill(storm, SIGKILL);
    EXPECT_EQ(ran_elsewhere, 0);
    EXPECT_GT(hit, 0) << "no signal came in time";
    signal(SIGUSR1, SIG_IGN); // those still on their way
}
