#include "endpoint.h"

#include "base/file.h"
#include "base/log.h"

#include <algorithm>
#include <cstring>

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

static constexpr int kReplyTimeoutMs = 5000;
static constexpr int kLingerMs = 500;
// Of one connection. A client has one request under way and may have given up waiting for it and sent another; more it
// keeps to itself until there is room.
static constexpr int kQueuedRequests = 1;
// For who does not read them; what is more is lost. Not much less: libzmq learns what has left a queue only when a receive
// waits, or at every hundredth part received.
static constexpr int kQueuedReplies = 128;

// A socket file stays behind its server, and binding takes it over from a server that lives, which would then be deaf for
// ever. Returns whether somebody listens: connections that must wait are as good as made.
static bool is_served()
{
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = RD_SOCKET_PATH};
    return connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 || errno == EAGAIN;
}

zsock_t *rd_open_endpoint()
{
    if (is_served()) {
        RD_ERROR("another server listens on %s\n", RD_SOCKET_PATH);
        return nullptr;
    }
    zsys_handler_set(nullptr); // CZMQ's own handlers would only set a flag: SIGTERM and SIGINT shall end us
    zsock_t *socket = zsock_new(ZMQ_ROUTER);
    if (socket != nullptr) {
        zsock_set_maxmsgsize(socket, RD_MAX_MESSAGE); // like the queues without effect once the socket is bound
        zsock_set_rcvhwm(socket, kQueuedRequests);
        zsock_set_sndhwm(socket, kQueuedReplies);
        zsock_set_linger(socket, kLingerMs); // or the reply to the terminate command could be lost
        zsock_set_sndtimeo(socket, kReplyTimeoutMs);
        if (zsock_attach(socket, "@" RD_ENDPOINT, true) != 0) {
            zsock_destroy(&socket);
        }
    }
    return socket;
}

void rd_set_socket_perms()
{
    const group *clients = getgrnam("q7net");
    if (clients == nullptr) {
        RD_ERROR("failed to get group id info\n");
        return;
    }
    if (chown(RD_SOCKET_PATH, 0, clients->gr_gid) < 0) {
        RD_ERROR("failed to set %s ownership\n", RD_SOCKET_PATH);
    }
    if (chmod(RD_SOCKET_PATH, 0770) != 0) {
        RD_ERROR("failed to set %s file permissions\n", RD_SOCKET_PATH);
    }
}

// The next part of a message that has begun to come in. It is there already, but a signal may come first.
static Frame next_part(zsock_t *socket)
{
    zframe_t *part = nullptr;
    while ((part = zframe_recv(socket)) == nullptr && errno == EINTR) {
    }
    return Frame(part);
}

static bool more_follows(const Frame &part)
{
    return part != nullptr && zframe_more(part.get()) != 0;
}

// Takes what is left of a message: a part left behind would be taken for the next request.
static void drop_rest(zsock_t *socket, Frame part)
{
    while (more_follows(part)) {
        part = next_part(socket);
    }
}

// Gathers a message's envelope, from its first part on, and drops a message whose empty part does not come in time.
// Returns whether a request follows.
static bool take_envelope(zsock_t *socket, Frame part, Envelope *envelope)
{
    *envelope = {};
    for (size_t i = 0; i < envelope->size() && more_follows(part); i++) {
        const bool last = i > 0 && zframe_size(part.get()) == 0;
        (*envelope)[i] = std::move(part);
        if (last) {
            return true;
        }
        part = next_part(socket);
    }
    drop_rest(socket, std::move(part));
    return false;
}

bool rd_receive(zsock_t *socket, Envelope *envelope, RequestFrame *request, int32_t *refusal)
{
    Frame part;
    do {
        part.reset(zframe_recv(socket));
        if (part == nullptr) {
            return false;
        }
    } while (!take_envelope(socket, std::move(part), envelope));

    part = next_part(socket);
    if (part == nullptr) { // no memory
        return false;
    }
    const size_t size = zframe_size(part.get());
    *request = {};
    memcpy(request, zframe_data(part.get()), std::min(size, sizeof *request - 1));
    *refusal = more_follows(part) ? RD_RC_INVALID : size < sizeof(RequestHeader) ? RD_RC_ABSENT : RD_RC_OK;
    drop_rest(socket, std::move(part));
    return true;
}

// A child that ends at this moment must not cost the client its reply; every other failure does.
static void send_part(zsock_t *socket, zframe_t *part, int flags)
{
    while (zframe_send(&part, socket, flags) != 0 && errno == EINTR) {
    }
    zframe_destroy(&part); // kept by a failed send
}

void rd_send_reply(zsock_t *socket, Envelope *envelope, const RequestHeader &request, int32_t rc)
{
    ReplyFrame reply{};
    reply.cmd = request.cmd;
    reply.tag = request.tag;
    reply.rc = rc;
    for (Frame &part : *envelope) {
        if (part != nullptr) {
            send_part(socket, part.release(), ZFRAME_MORE);
        }
    }
    send_part(socket, zframe_new(&reply, sizeof reply), 0);
}
