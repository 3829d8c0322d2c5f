// q7rdctl: the command-line client of q7net-shellexec.

#include "invoke.h"

#include <cstdio>

#include <unistd.h>

int main(int argc, char *argv[]) // NOLINT(bugprone-exception-escape): only when there is no memory
{
    Session session;
    Options options;
    options.tag = static_cast<uint32_t>(getpid());
    const ExitStatus status = run_words(session, options, {argv + 1, argv + argc});
    if (fflush(stdout) != 0 && status == kSuccess) {
        perror("q7rdctl: standard output");
        return kFailure;
    }
    return status;
}
