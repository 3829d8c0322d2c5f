// q7send COMMAND [OFFSET=NUMBER | OFFSET:TEXT]...: sends one request, whose fields are given by their offset
// in the frame, and shows the reply. Exit status: 0 for result code 0, 1 for any other, 2 without a reply.

#include "core/protocol.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <czmq.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
    RequestFrame request{};
    char *const bytes = reinterpret_cast<char *>(&request);
    request.header.cmd = argc > 1 ? static_cast<uint32_t>(strtoul(argv[1], nullptr, 10)) : 0;
    request.header.tag = static_cast<uint32_t>(getpid());
    for (int i = 2; i < argc; i++) {
        char *value = nullptr;
        const size_t offset = std::min<size_t>(strtoul(argv[i], &value, 10), sizeof request - 5);
        if (*value == '=') {
            const auto number = static_cast<uint32_t>(strtoll(value + 1, nullptr, 10));
            memcpy(bytes + offset, &number, sizeof number);
        } else if (*value == ':') {
            snprintf(bytes + offset, sizeof request - offset, "%s", value + 1);
        }
    }
    zsock_t *socket = zsock_new_req(">" RD_ENDPOINT);
    zsock_set_rcvtimeo(socket, 60'000);
    zframe_t *frame = zframe_new(&request, sizeof request);
    zframe_send(&frame, socket, 0);
    frame = zframe_recv(socket);
    ReplyFrame reply{};
    if (frame == nullptr || zframe_size(frame) != sizeof reply) {
        fputs("no reply\n", stderr);
        return 2;
    }
    memcpy(&reply, zframe_data(frame), sizeof reply);
    zframe_destroy(&frame);
    zsock_destroy(&socket);
    printf("reply: cmd=%u tag=%u rc=%d\n", reply.cmd, reply.tag, reply.rc);
    return reply.rc == 0 ? 0 : 1;
}
