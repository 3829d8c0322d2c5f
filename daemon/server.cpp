#include "server.h"

#include "base/log.h"
#include "dispatch.h"
#include "endpoint.h"
#include "notify.h"
#include "signals.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int kEmptyReceiveLimit = 100;

int rd_server()
{
    zsock_t *socket = rd_open_endpoint();
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
    rd_notify_manager("READY=1");

    int empty_receives = 0;
    for (bool serving = true; serving;) {
        RD_DEBUG("waiting for msg\n");
        Envelope envelope;
        RequestFrame request;
        int32_t rc = RD_RC_OK;
        if (!rd_receive(socket, &envelope, &request, &rc)) { // also when a child has ended: SIGCHLD interrupts it
            empty_receives++;
            RD_TRACE("server received empty frame\n");
            if (empty_receives > kEmptyReceiveLimit) {
                RD_ERROR("too many empty frames received, exiting to reset socket\n");
                break;
            }
        } else {
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
            rd_send_reply(socket, &envelope, request.header, rc);
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
    rd_notify_manager("STOPPING=1");
    signal(SIGCHLD, SIG_DFL); // a child that ends now must not break off the library's wait for the last reply to leave
    zsock_destroy(&socket);
    return 0;
}
