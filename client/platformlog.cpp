#include "platformlog.h"

#include "show.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

static constexpr int kNotFound = 127; // as a shell says it

// Starts journalctl, whose output is read from the descriptor.
static pid_t start_journalctl(bool follow, int *output)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execlp("journalctl", "journalctl", "--no-pager", "--quiet", "--identifier=q7net-shellexec", "--lines=all",
               follow ? "--follow" : nullptr, nullptr);
        _exit(kNotFound);
    }
    close(ends[1]);
    *output = ends[0];
    return child;
}

ExitStatus show_platform_log(const Request &request)
{
    int output = -1;
    const pid_t child = start_journalctl(request.follow != 0, &output);
    FILE *lines = child > 0 ? fdopen(output, "r") : nullptr;
    if (lines == nullptr) {
        fprintf(stderr, "q7rdctl: journalctl cannot be started: %s\n", strerror(errno));
        return kFailure;
    }
    // The server's own messages, of which one begins a request and one ends it.
    const std::string tag = std::to_string(request.options.tag) + "/";
    const std::string begins = "server received a msg. cmd:" + tag;
    const std::string ends = "responding to cmd:" + tag;
    char *line = nullptr;
    size_t size = 0;
    bool shown = false;
    bool written = true;
    while (written && getline(&line, &size, lines) > 0) {
        line[strcspn(line, "\n")] = '\0';
        shown = shown || strstr(line, begins.c_str()) != nullptr;
        written = !shown || show_record(request.options, line);
        shown = shown && strstr(line, ends.c_str()) == nullptr;
    }
    free(line);
    fclose(lines); // which ends journalctl, if it still has something to write
    if (!written) {
        return kFailure;
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNotFound) {
        fputs("q7rdctl: the error log names no tags, and there is no journalctl here\n", stderr);
    }
    return status == 0 ? kSuccess : kFailure;
}
