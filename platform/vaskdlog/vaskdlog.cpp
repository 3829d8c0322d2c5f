#include <vaskdlog.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

static constexpr char kIdent[] = "q7net-shellexec: ";
static constexpr timespec kPatience = {1, 0};

static const bool on_terminal = isatty(STDERR_FILENO) != 0;
static std::mutex guard;
static int connection = -1; // made by the first record, and again whenever the listener was restarted
static bool stalled;        // the last record found no room

static bool connect_to_listener()
{
    if (connection >= 0) {
        close(connection);
    }
    connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    return connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// syslog(3) would wait for ever for a listener that reads no more, when its queue (net.unix.max_dgram_qlen) is full, and
// whoever logs would stand still with it. Here the first record waits a second and is then lost, and so are those that
// follow, without waiting, until the queue has room again.
static void send_record(const msghdr &record)
{
    const auto try_once = [&record] { return sendmsg(connection, &record, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0; };
    bool sent = try_once();
    if (!sent && errno != EAGAIN) {
        sent = connect_to_listener() && try_once();
    }
    if (!sent && errno == EAGAIN && !stalled) {
        pollfd room{connection, POLLOUT, 0};
        sigset_t all; // or a child that ends would cut the wait short
        sigfillset(&all);
        ppoll(&room, 1, &kPatience, &all);
        sent = try_once();
    }
    stalled = !sent && errno == EAGAIN;
}

void vaskprintf(int level, int /*area*/, const char *format, ...)
{
    char text[4096]; // what does not fit is cut
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof text, format, args); // first, for %m
    va_end(args);
    if (length < 0) {
        return;
    }
    const size_t text_size = std::min(static_cast<size_t>(length), sizeof text - 1);
    for (size_t i = 0; i < text_size; i++) { // or a text from outside could make a record of its own
        const bool ends_record = text[i] == '\n' && i + 1 == text_size;
        text[i] = iscntrl(static_cast<unsigned char>(text[i])) != 0 && !ends_record ? '?' : text[i];
    }
    char header[64]; // RFC 3164; without a clock the listener puts its own time
    size_t size =
        static_cast<size_t>(snprintf(header, sizeof header, "<%d>", LOG_DAEMON | std::clamp(level + 1, 0, LOG_DEBUG)));
    const time_t now = time(nullptr);
    tm local{};
    if (now != -1 && localtime_r(&now, &local) != nullptr) {
        size += strftime(header + size, sizeof header - size, "%b %e %T ", &local);
    }
    iovec parts[] = {
        {header, size}, {const_cast<char *>(kIdent), strlen(kIdent)}, {text, text_size}, {const_cast<char *>("\n"), 1}};
    if (on_terminal) {
        const bool ends = parts[2].iov_len > 0 && text[parts[2].iov_len - 1] == '\n';
        [[maybe_unused]] const ssize_t shown = writev(STDERR_FILENO, parts + 1, ends ? 2 : 3);
    }
    msghdr record{};
    record.msg_iov = parts;
    record.msg_iovlen = 3;
    const std::lock_guard lock(guard);
    send_record(record);
}

int tattletale_standin1_execv(const char *path, char *const argv[])
{
    return execv(path, argv);
}
