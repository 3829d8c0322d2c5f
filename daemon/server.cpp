#include "server.h"

#include "base/log.h"
#include "dispatch.h"
#include "signals.h"

#include <algorithm>
#include <cstring>

#include <czmq.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int kReplyTimeoutMs = 5000;
static constexpr int kLingerMs = 500;
static constexpr int kQueuedRequests = 32; // of one client, which has one under way if it keeps to the protocol
static constexpr int kEmptyReceiveLimit = 100;

static zsock_t *rd_open_socket()
{
    zsys_handler_set(nullptr); // CZMQ's own handlers would only set a flag: SIGTERM and SIGINT shall end us
    zsock_t *socket = zsock_new(ZMQ_REP);
    if (socket != nullptr) {
        zsock_set_maxmsgsize(socket, RD_MAX_MESSAGE); // has no effect once the socket is bound
        zsock_set_linger(socket, kLingerMs);          // or the reply to the terminate command could be lost
        zsock_set_rcvhwm(socket, kQueuedRequests);
        if (zsock_attach(socket, "@" RD_ENDPOINT, true) != 0) {
            zsock_destroy(&socket);
        }
    }
    return socket;
}

static void rd_set_socket_perms()
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

// Copies what came into a zeroed frame: what a short one leaves out reads as zeros, a long one is cut, and
// the last byte is always NUL. Releases the received frame. Returns 0, or the code that refuses a message
// which is no request.
static int rd_take_request(zsock_t *socket, zframe_t *received, RequestFrame *request)
{
    const size_t size = zframe_size(received);
    const bool more = zframe_more(received) != 0;
    memcpy(request, zframe_data(received), std::min(size, sizeof *request - 1));
    zframe_destroy(&received);
    if (more) {
        // A part left behind would be taken for the next request.
        while (zsock_rcvmore(socket) != 0) {
            received = zframe_recv(socket);
            zframe_destroy(&received);
        }
        return RD_RC_INVALID;
    }
    return size < sizeof request->header ? RD_RC_ABSENT : RD_RC_OK;
}

static void rd_send_reply(zsock_t *socket, const RequestHeader &request, int32_t rc)
{
    ReplyFrame reply{};
    reply.cmd = request.cmd;
    reply.tag = request.tag;
    reply.rc = rc;
    zframe_t *frame = zframe_new(&reply, sizeof reply);
    // A child that ends at this moment must not cost the client its reply; every other failure does.
    while (zframe_send(&frame, socket, 0) != 0 && errno == EINTR) {
    }
    zframe_destroy(&frame); // kept by a failed send
}

int rd_server()
{
    zsock_t *socket = rd_open_socket();
    if (socket == nullptr) {
        RD_INFO("error on zsock_new_rep\n");
        return 1;
    }
    rd_set_socket_perms();
    if (setuid(0) == -1) {
        RD_ERROR("unable to set root. exiting!\n");
        zsock_destroy(&socket);
        return 1;
    }
    zsock_set_sndtimeo(socket, kReplyTimeoutMs);

    int empty_receives = 0;
    for (bool serving = true; serving;) {
        RD_DEBUG("waiting for msg\n");
        zframe_t *received = zframe_recv(socket);
        if (received == nullptr) { // also when a child has ended: SIGCHLD interrupts the receive
            empty_receives++;
            RD_TRACE("server received empty frame\n");
            if (empty_receives > kEmptyReceiveLimit) {
                RD_ERROR("too many empty frames received, exiting to reset socket\n");
                break;
            }
        } else {
            RequestFrame request{};
            int32_t rc = rd_take_request(socket, received, &request);
            const uint32_t tag = request.header.tag;
            const auto cmd = static_cast<int32_t>(request.header.cmd);
            RD_DEBUG("server received a msg. cmd:%u/%d\n", tag, cmd);
            if (rc != RD_RC_OK) {
                RD_ERROR("refused a message %s\n", rc == RD_RC_INVALID ? "of several parts" : "without a whole header");
            } else if (cmd == RD_CMD_TERMINATE) {
                RD_INFO("terminate command received\n");
                serving = false;
            } else if (!rd_run_command(&request, &rc)) {
                RD_INFO("unknown command:%d (ignore)\n", cmd);
                rc = RD_RC_OUT_OF_RANGE;
            }
            RD_DEBUG("responding to cmd:%u/%d with rc=%d\n", tag, cmd, rc);
            rd_send_reply(socket, request.header, rc);
            empty_receives = 0;
        }

        if (rd_sigchld_count.load() != 0) {
            rd_sigchld_count--;
            int status = 0;
            while (waitpid(-1, &status, WNOHANG) > 0) {
                RD_TRACE("reaped a zombie child. status=%d\n", status);
            }
        }
    }
    RD_INFO("server exiting\n");
    zsock_destroy(&socket);
    return 0;
}
