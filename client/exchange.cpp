#include "exchange.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <czmq.h>
#include <sys/socket.h>
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
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int rc = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int error = rc == 0 ? 0 : errno;
    close(fd);
    switch (error) {
    case 0: return {};
    case ENOENT: return "no socket " + path + ": the daemon has not been started";
    case ECONNREFUSED: return "nobody listens on " + path + ": the daemon has ended";
    case EACCES: return "no permission for " + path + ": only root and members of the group q7net have it";
    default: return "cannot connect to " + path + ": " + strerror(error);
    }
}

struct SocketCloser {
    void operator()(zsock_t *socket) const { zsock_destroy(&socket); }
};
struct FrameCloser {
    void operator()(zframe_t *frame) const { zframe_destroy(&frame); }
};
using Socket = std::unique_ptr<zsock_t, SocketCloser>;
using Frame = std::unique_ptr<zframe_t, FrameCloser>;

} // namespace

bool exchange(const std::string &path, const std::string &message, int seconds, ReplyFrame *reply, std::string *problem)
{
    *problem = unreachable(path);
    if (!problem->empty()) {
        return false;
    }
    zsys_handler_set(nullptr); // an interrupt from the keyboard shall end us
    const Socket socket(zsock_new_req((">ipc://" + path).c_str()));
    if (socket == nullptr) {
        *problem = "no socket could be had: " + std::string(strerror(errno));
        return false;
    }
    zsock_set_linger(socket.get(), 0);
    constexpr int kSecond = 1000; // ms
    zsock_set_rcvtimeo(socket.get(), kSecond);
    zframe_t *request = zframe_new(message.data(), message.size());
    zframe_send(&request, socket.get(), 0);

    const bool terminal = isatty(STDERR_FILENO) != 0;
    bool shown = false;
    Frame received;
    for (int waited = 1; received == nullptr && waited <= seconds; waited++) {
        received.reset(zframe_recv(socket.get()));
        if (received == nullptr && terminal) {
            fprintf(stderr, "\rwaiting for the answer, %d s ", waited);
            shown = true;
        }
    }
    if (shown) {
        fputs("\r\033[K", stderr);
    }
    if (received == nullptr) {
        *problem = unreachable(path);
        *problem = problem->empty() ? "no answer within " + std::to_string(seconds) +
                                          " s: the daemon is busy, and may carry this out later"
                                    : "no answer: " + *problem;
        return false;
    }
    if (zframe_size(received.get()) != sizeof *reply) {
        *problem = "an answer of " + std::to_string(zframe_size(received.get())) + " bytes, which is no reply";
        return false;
    }
    memcpy(reply, zframe_data(received.get()), sizeof *reply);
    return true;
}
