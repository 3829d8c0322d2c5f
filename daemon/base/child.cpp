#include "base/child.h"

#include "base/file.h"
#include "base/log.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

pid_t rd_fork()
{
    const LogScope loggers_idle;
    return fork();
}

// Marked rather than closed, for the syslog connection is needed if the exec fails. Libraries do not mark all
// of theirs (Avahi's wake-up pipe).
static void close_descriptors_on_exec()
{
    // By number: C libraries older than the kernel have no name for it.
    if (syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
    // Before Linux 5.11. The bound keeps this short where the limit is huge; we never have that many.
    constexpr long kMostDescriptors = 65536;
    const long limit = sysconf(_SC_OPEN_MAX);
    for (int fd = STDERR_FILENO + 1; fd < (limit < 0 ? kMostDescriptors : std::min(limit, kMostDescriptors)); fd++) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

// Default signal dispositions, nothing blocked, and no descriptor above 2 passed on.
static void clean_child()
{
    for (int sig = 1; sig < NSIG; sig++) {
        signal(sig, SIG_DFL); // service managers start us with SIGPIPE ignored, which exec would keep
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    close_descriptors_on_exec();
}

static void rd_stdio_to_devnull()
{
    const int devnull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (devnull >= 0) {
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
        close(devnull);
    }
}

static constexpr int kNotExecuted = 255; // exit status of a child that could not become the tool

int rd_become_tool(const char *const argv[], int quiet)
{
    clean_child();
    if (quiet != 0) {
        rd_stdio_to_devnull();
    }
    const int rc = tattletale_standin1_execv(argv[0], const_cast<char *const *>(argv));
    signal(SIGXFSZ, SIG_IGN); // or a full error log would end us before we can say why we did not become it
    return rc;
}

// Starts a tool in a child that shares our memory until the exec, while this thread stands still (vfork(2)): copying the
// page tables is most of what a fork costs. The child does nothing but system calls and takes no lock, as long as the
// logging library's exec entry point does no more (Q7NET_VFORK in CMakeLists.txt). No signal handler can run in it: all
// signals stay blocked until their dispositions are the default ones.
//   failed  set when the exec failed, which such a child cannot tell anybody: it is gone then, and must be waited for
// Returns as fork does.
static pid_t start_sharing_memory(const char *const argv[], int quiet, volatile bool *failed)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    // What POSIX forbids in such a child, Linux allows: it has this thread's stack and descriptors of its own.
    // NOLINTBEGIN(clang-analyzer-unix.Vfork, clang-analyzer-security.insecureAPI.vfork)
    const pid_t child = vfork();
    if (child == 0) {
        rd_become_tool(argv, quiet);
        *failed = true;
        _exit(kNotExecuted);
    }
    // NOLINTEND(clang-analyzer-unix.Vfork, clang-analyzer-security.insecureAPI.vfork)
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

// Any other child that ends cuts the wait short with its SIGCHLD: a lost status would read as success.
static int wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    return status;
}

int rd_exec_cmd(const char *const argv[], int wait, int quiet)
{
    volatile bool failed = false;
    pid_t child = -1;
    if (RD_VFORK) {
        child = start_sharing_memory(argv, quiet, &failed);
        if (failed) {
            wait_for(child);
        }
    }
    if (failed || !RD_VFORK) {
        child = rd_fork(); // can log from its own copy of the memory
        if (child == 0) {
            rd_become_tool(argv, quiet);
            RD_ERROR("failed to execv\n");
            _exit(kNotExecuted); // not exit: buffers and exit handlers are the parent's
        }
    }
    if (child < 0) {
        RD_ERROR("failed to fork\n");
        return -1;
    }
    return wait == 1 ? wait_for(child) : 0;
}

int rd_get_pid_from_file(const char *path, uint32_t *pid)
{
    char text[12];
    if (rd_read_line(path, text) != 0) {
        RD_DEBUG("unable to open pidfile %s\n", path);
        return 1;
    }
    // As strtoul(3) where long has 32 bits: what does not fit is all ones, so that 4294967298 is not PID 2.
    const long long number = strtoll(text, nullptr, 10);
    *pid = llabs(number) > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(number);
    RD_DEBUG("pids:'%s' pid:%u\n", text, *pid);
    return static_cast<int32_t>(*pid) > 1 ? 0 : 1;
}

void rd_sleep_us(int64_t microseconds)
{
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    const int64_t nanoseconds = end.tv_nsec + microseconds * 1000;
    end.tv_sec += static_cast<time_t>(nanoseconds / 1'000'000'000);
    end.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}
