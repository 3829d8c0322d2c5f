#include "errorlog.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr const char *kPath = "/run/q7net/q7neterrs";

ErrorLog::ErrorLog(From from)
{
    if (open_file() && from == From::kEnd) {
        lseek(fd_, 0, SEEK_END);
    }
}

ErrorLog::~ErrorLog()
{
    if (fd_ >= 0) {
        close(fd_);
    }
}

// Opens the file that has the name now. Returns whether there is one that can be read.
bool ErrorLog::open_file()
{
    const int fd = open(kPath, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        problem_ = errno == ENOENT ? "" : std::string("the error log cannot be read: ") + strerror(errno);
        return false;
    }
    if (fd_ >= 0) {
        close(fd_);
    }
    fd_ = fd;
    return true;
}

void ErrorLog::read_file()
{
    char bytes[4096];
    for (ssize_t size = 0; fd_ >= 0 && (size = read(fd_, bytes, sizeof bytes)) > 0;) {
        rest_.append(bytes, static_cast<size_t>(size));
    }
}

std::vector<std::string> ErrorLog::take()
{
    read_file();
    struct stat open_one {
    };
    struct stat named {
    };
    const bool is_named = stat(kPath, &named) == 0;
    const bool same = is_named && fd_ >= 0 && fstat(fd_, &open_one) == 0 && open_one.st_ino == named.st_ino &&
                      open_one.st_dev == named.st_dev;
    if (!same && (is_named || errno != ENOENT)) {
        read_file(); // what came before it was renamed
        if (open_file()) {
            read_file();
        }
    }
    std::vector<std::string> records;
    size_t start = 0;
    for (size_t end = 0; (end = rest_.find('\n', start)) != std::string::npos; start = end + 1) {
        records.push_back(rest_.substr(start, end - start));
    }
    rest_.erase(0, start);
    return records;
}

bool tells_of_failure(const std::string &record)
{
    for (const char *level : {" - ERROR - ", " - WARN - "}) {
        if (record.find(level) != std::string::npos) {
            return true;
        }
    }
    for (const std::string name : {" rc=", " status="}) {
        for (size_t at = 0; (at = record.find(name, at)) != std::string::npos;) {
            at += name.size();
            if (record.compare(at, 1, "0") != 0) {
                return true;
            }
        }
    }
    return false;
}
