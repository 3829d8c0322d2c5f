#include "base/log.h"

#include "base/file.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

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

// Texts of clients and of the network must not make records of their own, nor work the terminal of who reads them.
static void blot_out_control_bytes(char *text)
{
    for (; *text != '\0'; text++) {
        const auto byte = static_cast<unsigned char>(*text);
        const bool ends_record = byte == '\n' && text[1] == '\0';
        *text = (byte < ' ' && !ends_record) || byte == 0x7f ? '?' : *text;
    }
}

void de_errlog_write(const char *format, ...)
{
    const int caller_errno = errno; // for %m
    const Descriptor file(open("/run/q7net/q7neterrs", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (file.get() < 0) {
        return;
    }
    char record[4096]; // what does not fit is cut
    const time_t now = time(nullptr);
    tm local{};
    tzset(); // localtime_r alone would never see a changed /etc/localtime
    const bool has_time = now != -1 && localtime_r(&now, &local) != nullptr;
    const size_t stamp = strftime(record, sizeof record, has_time ? "[%d-%b %T] " : "[] ", &local);
    va_list args;
    va_start(args, format);
    errno = caller_errno;
    const int length = vsnprintf(record + stamp, sizeof record - stamp, format, args);
    va_end(args);
    if (stamp + static_cast<size_t>(length) >= sizeof record) {
        record[sizeof record - 2] = '\n';
    }
    blot_out_control_bytes(record);
    // The whole record at once, so that none of another process comes in between. What a full file system or a limit of the
    // file's size leaves of it is lost.
    [[maybe_unused]] const ssize_t written = write(file.get(), record, strlen(record));
}
