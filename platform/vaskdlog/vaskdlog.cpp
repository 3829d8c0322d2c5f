#include <vaskdlog.h>

#include <algorithm>
#include <cstdarg>
#include <syslog.h>
#include <unistd.h>

// Runs before main, so that no record ever has to decide whether the log is open. The connection itself is
// made by the first record, and again by syslog(3) whenever the listener was restarted.
[[gnu::constructor]] static void open_log()
{
    openlog("q7net-shellexec", isatty(STDERR_FILENO) != 0 ? LOG_PERROR : 0, LOG_DAEMON);
}

void vaskprintf(int level, int /*area*/, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsyslog(std::clamp(level + 1, LOG_EMERG, LOG_DEBUG), format, args);
    va_end(args);
}

int tattletale_standin1_execv(const char *path, char *const argv[])
{
    return execv(path, argv);
}
