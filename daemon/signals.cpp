#include "signals.h"

#include <cstdio>

#include <signal.h>
#include <unistd.h>

std::atomic<int> rd_sigchld_count = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler changes it");

static void rd_signal_handler(int sig)
{
    if (sig == SIGCHLD) {
        rd_sigchld_count++;
    } else if (sig == SIGABRT) {
        _exit(1); // at once and without a core dump: the service manager starts us again
    }
}

// No SA_RESTART: a child that ends shall interrupt the server's receive, to be reaped at once.
static void install(int sig, const char *complaint)
{
    struct sigaction action {
    };
    action.sa_handler = rd_signal_handler;
    sigemptyset(&action.sa_mask);
    if (sigaction(sig, &action, nullptr) != 0) {
        perror(complaint);
    }
}

void rd_install_signal_handlers()
{
    install(SIGABRT, "sigaction sigabrt");
    install(SIGCHLD, "sigaction sigchld");
    signal(SIGXFSZ, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}
