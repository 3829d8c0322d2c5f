#include "endpoint.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

static constexpr int kReplyTimeoutMs = 5000; // no reply is waited for longer, if one ever had to be
static constexpr int kServedTries = 10;
static constexpr int64_t kServedPauseUs = 50'000;
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
    // A child of a server that was killed holds its socket too, until it has become a tool.
    for (int tries = 0; is_served(); tries++) {
        if (tries == kServedTries) {
            RD_ERROR("another server listens on %s\n", RD_SOCKET_PATH);
            return nullptr;
        }
        rd_sleep_us(kServedPauseUs);
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
static bool receive_next(void *socket, Part *part)
{
    int size = 0;
    while ((size = zmq_msg_recv(&part->message, socket, 0)) < 0 && errno == EINTR) {
    }
    return size >= 0;
}

static bool more_follows(const Part &part)
{
    return zmq_msg_more(&part.message) != 0;
}

// Takes what is left of a message: a part left behind would be taken for the next request.
static void drop_rest(void *socket, Part *part)
{
    while (more_follows(*part) && receive_next(socket, part)) {
    }
}

// Gathers a message's envelope, whose first part is there, and drops a message whose first parts hold no empty one.
// Returns whether a request follows.
static bool take_envelope(void *socket, Envelope *envelope)
{
    Part *part = &envelope->parts[0];
    for (envelope->count = 1; envelope->count < std::size(envelope->parts); envelope->count++) {
        if (!more_follows(*part) || !receive_next(socket, ++part)) {
            return false;
        }
        if (zmq_msg_size(&part->message) == 0 && more_follows(*part)) {
            envelope->count++;
            return true;
        }
    }
    drop_rest(socket, part);
    return false;
}

bool rd_receive(zsock_t *zsock, Envelope *envelope, RequestFrame *request, int32_t *refusal)
{
    void *const socket = zsock_resolve(zsock);
    do {
        if (zmq_msg_recv(&envelope->parts[0].message, socket, 0) < 0) {
            return false;
        }
    } while (!take_envelope(socket, envelope));

    Part body;
    if (!receive_next(socket, &body)) {
        return false;
    }
    const size_t size = zmq_msg_size(&body.message);
    *request = {};
    memcpy(request, zmq_msg_data(&body.message), std::min(size, sizeof *request - 1));
    *refusal = RD_RC_OK;
    if (more_follows(body)) {
        *refusal = RD_RC_INVALID;
    } else if (size < sizeof request->header) {
        *refusal = RD_RC_ABSENT;
    }
    drop_rest(socket, &body);
    return true;
}

// A child that ends at this moment must not cost the client its reply; every other failure does.
static void send_part(void *socket, Part *part, int flags)
{
    while (zmq_msg_send(&part->message, socket, flags) < 0 && errno == EINTR) {
    }
}

void rd_send_reply(zsock_t *zsock, Envelope *envelope, const RequestHeader &request, int32_t rc)
{
    void *const socket = zsock_resolve(zsock);
    ReplyFrame reply{};
    reply.cmd = request.cmd;
    reply.tag = request.tag;
    reply.rc = rc;
    Part body;
    if (zmq_msg_init_size(&body.message, sizeof reply) != 0) {
        return; // rather than to break off after the envelope: the socket would take the next reply for the rest
    }
    memcpy(zmq_msg_data(&body.message), &reply, sizeof reply);
    for (size_t i = 0; i < envelope->count; i++) {
        send_part(socket, &envelope->parts[i], ZMQ_SNDMORE);
    }
    send_part(socket, &body, 0);
}
