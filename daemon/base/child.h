// Child processes: the one way in which tools are run, and the PID files of services.
#pragma once

#include <cstdint>
#include <sys/types.h>

// Runs a tool.
//   argv   NULL-terminated; argv[0] is the absolute path that is executed, PATH is not searched
//   wait   1 waits for the tool to end; any other value leaves it to the server loop, which reaps it
//   quiet  non-zero sends the tool's standard output and standard error to /dev/null
// Returns the raw wait status of a waited tool (exit status 1 is 256, not executable is 65280), 0 for one
// that is not waited for, -1 when there was no child to be had.
int rd_exec_cmd(const char *const argv[], int wait, int quiet);

// fork(2) for a child that may log before it execs: returns as fork does, but for errno, with the loggers free in the child.
pid_t rd_fork();

// In a fresh child: becomes the tool, which gets default signal dispositions, nothing blocked, no descriptor above 2, and
// when quiet is not 0 /dev/null for standard output and standard error (if it can be opened). Returns only on failure, what
// the exec entry point gave, and may be called once.
int rd_become_tool(const char *const argv[], int quiet);

// Reads a PID from the first line of a file, of which at most 11 characters count.
//   pid  set to the number read, 0 when there is none, 4294967295 for more than 32 bits; untouched when the file cannot
//        be opened
// Returns 0 for a usable PID (2 to 2147483647), else 1.
int rd_get_pid_from_file(const char *path, uint32_t *pid);

// Sleeps for the whole time, in microseconds, however many children end meanwhile.
void rd_sleep_us(int64_t microseconds);
