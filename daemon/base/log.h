// Messages of the daemon: each goes to the platform log, those of levels 2 to 4 also to the error log.
//
//     RD_WARN("failed to reset %s rc=%d\n", name, rc);
//
// puts "rd_del_sl_macvlan():57 - WARN - failed to reset macv2 rc=256" into both. Formats bring their own
// newline. Arguments are evaluated once for each log, so they must have no side effect; errno and %m hold
// the caller's errno in both, and a message leaves errno as it was.
#pragma once

#include <cerrno>
#include <vaskdlog.h>

// Appends one record, "[%d-%b %T] " in local time and the message, to /run/q7net/q7neterrs.
//   format, ...  as for printf(3)
// The file is opened for this record alone, so it can be rotated or removed at any time and no child
// inherits it. A file that cannot be opened, is on a full file system or has reached the limit of its size (RLIMIT_FSIZE)
// loses the record silently. Control bytes within the message become '?'; of more than 4000 characters the rest is cut.
[[gnu::format(printf, 1, 2)]] void de_errlog_write(const char *format, ...);

// While one lives, no other thread is inside the loggers. A message holds one so that its two records stand
// in the same order in both logs. fork() needs one too: the locks of the C library's time zone and of the platform
// logger are copied as they are, and a lock that another thread held would stay held for ever in the child, which hangs
// when it reports that its exec failed.
class LogScope
{
  public:
    LogScope();
    ~LogScope();
    LogScope(const LogScope &) = delete;
    LogScope &operator=(const LogScope &) = delete;

    const int error = errno;
};

// A message for the platform log only.
#define RD_LOG_PLATFORM(level, format, ...)                                                         \
    do {                                                                                            \
        const LogScope rd_log_scope;                                                                \
        vaskprintf(level, 200, "%s():%d - " format, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

// A message for both logs.
#define RD_LOG_BOTH(function, line, level, format, ...)                                         \
    do {                                                                                        \
        const LogScope rd_log_scope;                                                            \
        vaskprintf(level, 200, "%s():%d - " format, function, line __VA_OPT__(, ) __VA_ARGS__); \
        errno = rd_log_scope.error;                                                             \
        de_errlog_write("%s():%d - " format, function, line __VA_OPT__(, ) __VA_ARGS__);        \
    } while (false)

#define RD_ERROR(format, ...) RD_LOG_BOTH(__func__, __LINE__, 2, "ERROR - " format __VA_OPT__(, ) __VA_ARGS__)
#define RD_WARN(format, ...) RD_LOG_BOTH(__func__, __LINE__, 3, "WARN - " format __VA_OPT__(, ) __VA_ARGS__)
#define RD_INFO(format, ...) RD_LOG_BOTH(__func__, __LINE__, 4, format __VA_OPT__(, ) __VA_ARGS__)
#define RD_DEBUG(format, ...) RD_LOG_PLATFORM(5, format __VA_OPT__(, ) __VA_ARGS__)
#define RD_TRACE(format, ...) RD_LOG_PLATFORM(6, format __VA_OPT__(, ) __VA_ARGS__)

// The same for a step of another function that logs in its name, by which readers know the message. Such a step takes
//     const char *function = __builtin_FUNCTION()
// last, which a call that leaves it out fills with its own name. The line is that of the step.
#define RD_ERROR_OF(function, format, ...) \
    RD_LOG_BOTH(function, __LINE__, 2, "ERROR - " format __VA_OPT__(, ) __VA_ARGS__)
#define RD_WARN_OF(function, format, ...) \
    RD_LOG_BOTH(function, __LINE__, 3, "WARN - " format __VA_OPT__(, ) __VA_ARGS__)
#define RD_INFO_OF(function, format, ...) RD_LOG_BOTH(function, __LINE__, 4, format __VA_OPT__(, ) __VA_ARGS__)
