#pragma once

#include <atomic>

// SIGCHLD deliveries that the server has not answered yet by reaping.
extern std::atomic<int> rd_sigchld_count;

// Installs the handler of SIGABRT, which ends the process at once with status 1, and of SIGCHLD, which is counted; a
// handler that cannot be installed is told by perror(3). Ignores SIGXFSZ, so that a full error log is a record that is lost
// and not the end. Blocks no signal, whatever whoever started us had blocked.
void rd_install_signal_handlers();
