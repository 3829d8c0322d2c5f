// sandbox COMMAND...: runs a command in a private controller with the machine's own tools. What it does to
// interfaces, files and the host name is gone with it.

#include "rig/rig.h"

#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc < 2) {
        fputs("usage: sandbox COMMAND...\n", stderr);
        return 2;
    }
    rig::enter(rig::Tools::kReal);
    execv(argv[1], argv + 1);
    perror(argv[1]);
    return 127;
}
