#include "base/log.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

static std::mutex log_mutex;

LogScope::LogScope()
{
    log_mutex.lock();
}

LogScope::~LogScope()
{
    log_mutex.unlock();
    errno = error;
}

void de_errlog_write(const char *format, ...)
{
    const int caller_errno = errno; // for %m
    FILE *file = fopen("/run/q7net/q7neterrs", "ae");
    if (file == nullptr) {
        return;
    }
    char stamp[32] = "";
    const time_t now = time(nullptr);
    tm local{};
    tzset(); // localtime_r alone would never see a changed /etc/localtime
    if (now != -1 && localtime_r(&now, &local) != nullptr) {
        strftime(stamp, sizeof stamp, "%d-%b %T", &local);
    }
    fprintf(file, "[%s] ", stamp);
    va_list args;
    va_start(args, format);
    errno = caller_errno;
    vfprintf(file, format, args);
    va_end(args);
    fclose(file); // the whole record leaves here, in one append
}
