#include "base/child.h"

#include "base/log.h"
#include "rig/rig.h"

#include <atomic>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

static const char *const kTool[] = {"/bin/ping", "-c", "1", nullptr};
static const char *const kSlowTool[] = {"/bin/systemctl", "restart", "network", nullptr};
static const char *const kMissingTool[] = {"/bin/nosuch", nullptr};

class Child : public rig::Controller
{
  protected:
    Child() // children that end interrupt system calls, as in the daemon
    {
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

TEST_F(Child, WaitedGivesRawStatusAndOthersZeroAtOnce)
{
    const std::pair<int, int> cases[] = {{0, 0}, {2, 512}, {255, 65280}, {-SIGKILL, 9}};
    for (const auto &[told, status] : cases) {
        fs::remove("/rig/answers");
        answer("/bin/ping", told);
        EXPECT_EQ(rd_exec_cmd(kTool, 1, 1), status);
    }
    answer("/bin/systemctl", 7, 400);
    for (const int wait : {0, 2, -1}) {
        const int64_t start = zclock_mono();
        EXPECT_EQ(rd_exec_cmd(kSlowTool, wait, 1), 0);
        EXPECT_LT(zclock_mono() - start, 300);
    }
    EXPECT_EQ(log(), Lines{});
}

TEST_F(Child, GetsItsWordsAndQuietOutput)
{
    rd_exec_cmd(kTool, 1, 1);
    rd_exec_cmd(kTool, 1, 0);
    EXPECT_EQ(calls(), (Lines{"/bin/ping -c 1", "/bin/ping -c 1 (loud)"}));
}

TEST_F(Child, InheritsStandardInputAndNothingElse)
{
    const int input = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    const int saved = dup(STDIN_FILENO);
    dup2(input, STDIN_FILENO);
    const int leak = open("/etc/group", O_RDONLY); // like a library's, not marked close-on-exec
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    sigprocmask(SIG_SETMASK, &blocked, &before);
    rd_exec_cmd(kTool, 1, 1);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(state(), "stdin=/dev/urandom others= SigBlk=none SigIgn=none\n");
    dup2(saved, STDIN_FILENO);
    for (const int fd : {input, saved, leak}) {
        close(fd);
    }
}

TEST_F(Child, FailedExecIsReportedOnceAndRunsNoExitHandler)
{
    atexit([] { rig::write_file("/run/exit-handler-of-" + std::to_string(getpid()), ""); });
    EXPECT_EQ(rd_exec_cmd(kMissingTool, 1, 0), 65280);
    EXPECT_EQ(log(), Lines{"2 rd_exec_cmd ERROR - failed to execv"});
    EXPECT_EQ(std::distance(fs::directory_iterator("/run"), {}), 1) << "only /run/q7net";
}

TEST_F(Child, FailedForkIsMinusOne)
{
    if (!rig::has_second_user()) {
        GTEST_SKIP() << "needs a second user: only the real root can be another one";
    }
    const pid_t poor = fork();
    if (poor == 0) {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        const bool failed = setresuid(1000, 1000, 1000) == 0 && rd_exec_cmd(kTool, 1, 1) == -1;
        _exit(failed ? 0 : 1);
    }
    int status = -1;
    while (waitpid(poor, &status, 0) < 0 && errno == EINTR) {
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(platform_log.take(), Lines{"2 rd_exec_cmd ERROR - failed to fork"});
    EXPECT_EQ(calls(), Lines{});
}

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
    int64_t start = zclock_mono();
    EXPECT_EQ(rd_exec_cmd(kSlowTool, 1, 1), 768);
    EXPECT_GE(zclock_mono() - start, 500);
    start_background();
    start = zclock_mono();
    rd_sleep_us(500'000);
    EXPECT_GE(zclock_mono() - start, 499);
    EXPECT_LT(zclock_mono() - start, 900);
}

static void chatter(const std::atomic<bool> *stop)
{
    while (!*stop) {
        RD_WARN("chatter\n");
    }
}

TEST_F(Child, FailedExecNeverHangsOnAnotherThreadsLoggerLock)
{
    std::atomic<bool> stop = false;
    std::thread first(chatter, &stop);
    std::thread second(chatter, &stop);
    for (int i = 0; i < 150; i++) {
        EXPECT_EQ(rd_exec_cmd(kMissingTool, 1, 1), 65280);
    }
    stop = true;
    first.join();
    second.join();
    size_t reports = 0;
    for (const std::string &message : error_log()) {
        reports += message == "rd_exec_cmd ERROR - failed to execv" ? 1 : 0;
    }
    EXPECT_EQ(reports, 150U);
}

// The child shares our memory until it is the tool: a handler that ran in it would do so behind our back.
static pid_t handler_of;
static volatile sig_atomic_t ran_elsewhere;

TEST_F(Child, SignalsRunNoHandlerInTheChild)
{
    handler_of = getpid();
    ran_elsewhere = 0;
    struct sigaction action {
    };
    action.sa_handler = [](int) { ran_elsewhere = ran_elsewhere != 0 || getpid() != handler_of ? 1 : 0; };
    sigaction(SIGUSR1, &action, nullptr);
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
    for (int i = 0; i < 300; i++) {
        hit += rd_exec_cmd(kTool, 1, 1) == SIGUSR1 ? 1 : 0;
    }
    kill(storm, SIGKILL);
    EXPECT_EQ(ran_elsewhere, 0);
    EXPECT_GT(hit, 0) << "no signal came in time";
    signal(SIGUSR1, SIG_IGN); // those still on their way
}

TEST_F(Child, NeedsNoLockOfTheLoggers)
{
    if (!RD_VFORK) {
        GTEST_SKIP() << "a child by fork must not find the loggers' locks held, and waits for them";
    }
    std::atomic<bool> locked = false;
    std::thread hung([&locked] {
        const LogScope inside;
        locked = true;
        zclock_sleep(1500);
    });
    while (!locked) {
        zclock_sleep(1);
    }
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_exec_cmd(kTool, 1, 1), 0);
    EXPECT_LT(zclock_mono() - start, 1000);
    hung.join();
}

TEST_F(Child, PidFileIsReadAsOn32Bits)
{
    struct {
        const char *content;
        int result;
        uint32_t pid;
        const char *text; // as logged
    } const cases[] = {
        {"1234\n", 0, 1234, "1234?"},
        {"  77 dhclient\n", 0, 77, "  77 dhclie"},
        {"2147483647", 0, 2147483647, "2147483647"},
        {"2147483648", 1, 2147483648, "2147483648"},
        {"4294967298", 1, 4294967295, "4294967298"},
        {"123456789012345\n", 1, 4294967295, "12345678901"},
        {"-5\n", 1, 4294967291, "-5?"},
        {"1", 1, 1, "1"},
        {"0\n", 1, 0, "0?"},
        {"abc", 1, 0, "abc"},
        {"\n1234", 1, 0, "?"},
        {"", 1, 0, ""},
    };
    for (const auto &c : cases) {
        rig::write_file("/run/tool.pid", c.content);
        uint32_t pid = 99;
        EXPECT_EQ(rd_get_pid_from_file("/run/tool.pid", &pid), c.result) << c.content;
        EXPECT_EQ(pid, c.pid) << c.content;
        const std::string expected =
            "5 rd_get_pid_from_file pids:'" + std::string(c.text) + "' pid:" + std::to_string(c.pid);
        EXPECT_EQ(platform_log.all(), expected + "\n");
        platform_log.take();
    }
    uint32_t pid = 99;
    EXPECT_EQ(rd_get_pid_from_file("/run/nosuch.pid", &pid), 1);
    EXPECT_EQ(pid, 99U);
    EXPECT_EQ(log(), Lines{"5 rd_get_pid_from_file unable to open pidfile /run/nosuch.pid"});
}
