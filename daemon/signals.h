#pragma once

#include <atomic>

// SIGCHLD deliveries that the server has not answered yet by reaping.
extern std::atomic<int> rd_sigchld_count;

// Installs the handler of SIGABRT, which ends the process at once with status 1, and of SIGCHLD, which is counted. A
// handler that cannot be installed is told by perror(3).
void rd_install_signal_handlers();
