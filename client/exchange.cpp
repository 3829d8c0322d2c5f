#include "exchange.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <czmq.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

// ZeroMQ would wait for a daemon that is not there, and for permission. Connects as it does, to learn why it cannot;
// the daemon takes no notice of a connection that says nothing.
std::string unreachable(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return "the path of the socket is too long";
    }
    path.copy(address.sun_path, sizeof address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int rc = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int error = rc == 0 ? 0 : errno;
    close(fd);
    struct stat file {
    };
    if (error == ECONNREFUSED && stat(path.c_str(), &file) == 0 && !S_ISSOCK(file.st_mode)) {
        return path + " is no socket";
    }
    switch (error) {
    case 0: return {};
    case ENOENT: return "no socket " + path + ": the daemon has not been started";
    case ECONNREFUSED: return "nobody listens on " + path + ": the daemon has ended";
    case EACCES: return "no permission for " + path + ": only root and members of the group q7net have it";
    case EAGAIN: return "the daemon takes no connections on " + path + ": it has been stopped";
    default: return "cannot connect to " + path + ": " + strerror(error);
    }
}

struct Destroyer {
    void operator()(zsock_t *socket) const { zsock_destroy(&socket); }
    void operator()(zactor_t *monitor) const { zactor_destroy(&monitor); }
    void operator()(zpoller_t *poller) const { zpoller_destroy(&poller); }
    void operator()(zframe_t *frame) const { zframe_destroy(&frame); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Destroyer>;

// Waits for a reply, or for the connection to end: the daemon then took the request with it, since it is sent only once.
Owned<zframe_t> wait_for_reply(zsock_t *socket, zactor_t *monitor, int seconds, bool *disconnected)
{
    constexpr int kSecond = 1000; // ms
    const Owned<zpoller_t> poller(zpoller_new(socket, monitor, nullptr));
    const bool terminal = isatty(STDERR_FILENO) != 0;
    const int64_t start = zclock_mono();
    int shown = 0; // seconds
    Owned<zframe_t> received;
    while (received == nullptr && !*disconnected) {
        const int64_t waited = zclock_mono() - start;
        if (waited >= int64_t{seconds} * kSecond) {
            break;
        }
        if (terminal && waited / kSecond > shown) {
            shown = static_cast<int>(waited / kSecond);
            fprintf(stderr, "\rwaiting for the answer, %d s ", shown);
        }
        *disconnected = zpoller_wait(poller.get(), static_cast<int>(kSecond - waited % kSecond)) == monitor;
        received.reset(zframe_recv(socket)); // also when both came at once
    }
    if (shown > 0) {
        fputs("\r\033[K", stderr);
    }
    return received;
}

} // namespace

bool exchange(const std::string &path, const std::string &message, int seconds, ReplyFrame *reply, std::string *problem)
{
    *problem = unreachable(path);
    if (!problem->empty()) {
        return false;
    }
    zsys_handler_set(nullptr); // an interrupt from the keyboard shall end us
    const Owned<zsock_t> socket(zsock_new(ZMQ_REQ));
    const Owned<zactor_t> monitor(zactor_new(zmonitor, socket.get()));
    zstr_sendx(monitor.get(), "LISTEN", "DISCONNECTED", nullptr);
    zstr_send(monitor.get(), "START");
    zsock_wait(monitor.get());
    zsock_set_linger(socket.get(), 0);
    zsock_set_rcvtimeo(socket.get(), 0);
    if (zsock_connect(socket.get(), "ipc://%s", path.c_str()) != 0) {
        *problem = "cannot connect to " + path + ": " + strerror(errno);
        return false;
    }
    zframe_t *request = zframe_new(message.data(), message.size());
    zframe_send(&request, socket.get(), 0);

    bool disconnected = false;
    const Owned<zframe_t> received = wait_for_reply(socket.get(), monitor.get(), seconds, &disconnected);
    if (received == nullptr) {
        *problem = disconnected ? "no answer: the daemon has ended meanwhile; whether it carried this out is not known"
                                : "no answer within " + std::to_string(seconds) +
                                      " s: the daemon is busy, and may carry this out later";
        return false;
    }
    if (zframe_size(received.get()) != sizeof *reply) {
        *problem = "an answer of " + std::to_string(zframe_size(received.get())) + " bytes, which is no reply";
        return false;
    }
    memcpy(reply, zframe_data(received.get()), sizeof *reply);
    return true;
}
