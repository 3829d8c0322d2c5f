// Stand-ins: the linker puts __wrap_NAME in the place of NAME.

#include "world.h"

#include "base/child.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vaskdlog.h>

using world::check_text;
using world::choose;

// What a file may hold when not all goes well.
static constexpr std::string_view kOtherTexts[] = {
    "",       "\n",       "0\n",          "1\n",  "-1\n",
    "down\n", "no digit", "4294967298\n", "4711", "0123456789012345678901234567890123456789"};

// An open file, with a descriptor, so that one left open is found out.
struct OpenFile {
    const world::Place *place;
    std::string text;
    bool full;
    size_t read = 0;
    int descriptor = dup(STDERR_FILENO);
};

static std::string gadget_controller; // as written last

static bool is_file(const OpenFile &file, std::string_view name)
{
    return std::string_view(file.place->path).ends_with(name);
}

static ssize_t read_text(void *cookie, char *buffer, size_t size)
{
    auto *const file = static_cast<OpenFile *>(cookie);
    const size_t length = file->text.copy(buffer, size, file->read);
    file->read += length;
    return static_cast<ssize_t>(length);
}

static ssize_t write_text(void *cookie, const char *buffer, size_t size)
{
    auto *const file = static_cast<OpenFile *>(cookie);
    errno = ENOSPC;
    return file->full ? 0 : (file->text.append(buffer, size), static_cast<ssize_t>(size));
}

static int close_text(void *cookie)
{
    const std::unique_ptr<OpenFile> file(static_cast<OpenFile *>(cookie));
    close(file->descriptor);
    if (is_file(*file, "/q7neterrs")) {
        world::check_line(file->text, "the error log");
    } else if (is_file(*file, "/vsizt") && !file->full) {
        if (!file->text.starts_with("VSI=") || file->text.find_first_of("\r\n") != file->text.size() - 1) {
            world::broken("the provisioning file holds '%s'", file->text.c_str());
        }
    } else if (is_file(*file, "/UDC")) {
        gadget_controller = file->text;
    }
    return 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {

FILE *__wrap_fopen64(const char *path, const char *mode)
{
    const world::Place *const place = world::check_place(path, mode[0]);
    const bool reading = mode[0] == 'r';
    if (mode[0] != 'a' && choose(8) == 1) {
        errno = ENOENT;
        return nullptr;
    }
    auto file = std::make_unique<OpenFile>(OpenFile{place, "", mode[0] == 'w' && choose(4) == 1});
    if (reading) {
        const unsigned other = choose(1 + std::size(kOtherTexts));
        file->text = other != 0 ? kOtherTexts[other - 1] : is_file(*file, "/UDC") ? gadget_controller : place->text;
    }
    return fopencookie(file.release(), reading ? "r" : "w", {read_text, write_text, nullptr, close_text});
}

int __real_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    if (!world::is_running()) {
        return __real_unlink(path); // of the fuzzer, an input
    }
    world::check_place(path, 'd');
    return choose(2) == 0 ? 0 : -1;
}

int __real_fputs(const char *text, FILE *file);
int __wrap_fputs(const char *text, FILE *file)
{
    check_text(text, "fputs");
    return __real_fputs(text, file);
}

int __real_vsnprintf(char *buffer, size_t size, const char *format, va_list args);
int __wrap_vsnprintf(char *buffer, size_t size, const char *format, va_list args)
{
    world::check_formatted(format, args);
    return __real_vsnprintf(buffer, size, format, args);
}

int __wrap_sethostname(const char *name, size_t length)
{
    check_text(name, "sethostname");
    return strlen(name) == length && choose(2) == 0 ? 0 : -1;
}

int __wrap_setdomainname(const char *name, size_t length)
{
    return __wrap_sethostname(name, length);
}

int __wrap_kill(pid_t pid, int sig)
{
    if (pid <= 1 || sig != SIGKILL) {
        world::broken("signal %d to process %d", sig, pid);
    }
    return choose(2) == 0 ? 0 : -1;
}

int __wrap_socket(int family, int type, int /*protocol*/)
{
    if (family != AF_PACKET || type != (SOCK_RAW | SOCK_CLOEXEC)) {
        world::broken("a socket of family %d and type %d", family, type);
    }
    return choose(4) == 1 ? -1 : dup(STDERR_FILENO);
}

int __wrap_ioctl(int /*fd*/, unsigned long request, ifreq *interface)
{
    if (request != SIOCGIFINDEX || memchr(interface->ifr_name, '\0', sizeof interface->ifr_name) == nullptr) {
        world::broken("ioctl %lu", request);
    }
    interface->ifr_ifindex = 2;
    return choose(4) == 1 ? -1 : 0;
}

ssize_t __wrap_sendto(int /*fd*/, const void *bytes, size_t size, int /*flags*/, const sockaddr * /*to*/,
                      socklen_t /*length*/)
{
    const std::string sent(static_cast<const char *>(bytes), size); // reads it all
    return choose(4) == 1 ? -1 : static_cast<ssize_t>(sent.size());
}

[[noreturn]] void __wrap__exit(int /*status*/)
{
    throw world::Ended();
}

// Children come from the two functions below and from nowhere else.
[[noreturn]] pid_t __wrap_fork()
{
    world::broken("a child past rd_exec_cmd and rd_fork");
}

[[noreturn]] pid_t __wrap_vfork()
{
    __wrap_fork();
}

int __wrap__Z11rd_exec_cmdPKPKcii(const char *const argv[], int wait, int /*quiet*/)
{
    constexpr std::array kStatus = {0, 0x100, 0xff00, -1};
    world::check_words(argv);
    const int status = kStatus[choose(kStatus.size())];
    return wait == 1 || status == -1 ? status : 0;
}

pid_t __wrap__Z7rd_forkv()
{
    constexpr std::array kResults = {0, 4711, -1};
    return kResults[choose(kResults.size())];
}

void __wrap__Z14rd_clean_childv() {}

int __wrap__Z19rd_stdio_to_devnullv()
{
    return 0;
}

void __wrap__Z11rd_sleep_usl(int64_t microseconds)
{
    if (microseconds < 0 || microseconds > 10'000'000) {
        world::broken("a sleep of %ld us", static_cast<long>(microseconds));
    }
}

// The platform's library, which is not linked.

int tattletale_standin1_execv(const char *path, char *const argv[])
{
    world::check_words(argv);
    if (strcmp(path, argv[0]) != 0) {
        world::broken("%s is run as %s", path, argv[0]);
    }
    return choose(2) == 0 ? throw world::Ended() : -1;
}

void vaskprintf(int /*level*/, int /*area*/, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    world::check_formatted(format, args);
    char line[4096];
    const int length = __real_vsnprintf(line, sizeof line, format, args);
    world::check_line({line, std::min(static_cast<size_t>(length), sizeof line - 1)}, "the platform log");
    va_end(args);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
