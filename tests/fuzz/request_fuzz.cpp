// Whole messages to the decoder and, as it decodes them, to the handlers. The tag, which means nothing to the daemon,
// decides how the world answers.

#include "fields.h"
#include "world.h"

#include "core/server.cpp" // NOLINT(bugprone-suspicious-include): for its static functions
#include "mdns/browse.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <string_view>
#include <vector>

// The daemon's end of the socket.

int zsock_rcvmore(void * /*self*/)
{
    return world::choose(2) == 1 ? 1 : 0;
}

zframe_t *zframe_recv(void * /*source*/)
{
    return zframe_new("another part", strlen("another part"));
}

int zframe_send(zframe_t **frame, void * /*destination*/, int /*flags*/)
{
    if (zframe_size(*frame) != sizeof(ReplyFrame)) {
        world::broken("a reply of %zu bytes", zframe_size(*frame));
    }
    zframe_destroy(frame);
    return 0;
}

// Browses, which have a fuzz program of their own.

int av_start_mdns_console_browse(int32_t interface_index, const char *service_type)
{
    world::check_text(service_type, "browse");
    if (interface_index == 0 || service_type[0] == '\0') {
        world::broken("a browse of nothing");
    }
    return world::choose(4) == 1 ? EAGAIN : 0;
}

void av_stop_mdns_vlan_browse() {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    RequestHeader header{};
    memcpy(&header, data, std::min(size, sizeof header));
    RequestFrame request{};
    world::begin(header.tag, &request);
    zframe_t *received = zframe_new(data, size);
    zframe_set_more(received, world::choose(16) == 1 ? 1 : 0);
    int32_t rc = rd_take_request(nullptr, received, &request);
    if (reinterpret_cast<const char *>(&request + 1)[-1] != '\0') {
        world::broken("the request does not end with a NUL");
    }
    if (rc == 0 && request.header.cmd != RD_CMD_TERMINATE) {
        try {
            rd_run_command(&request, &rc);
        } catch (const world::Ended &) { // the child of arping
        }
    }
    rd_send_reply(nullptr, request.header, rc);
    world::end();
    return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);

static constexpr std::array<std::string_view, 5> kWords = {"", "none", "rt2", "fe80::1", "10.0.0.5"};

// Every other time changes one field of the command, which blind changes rarely hit.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed)
{
    std::minstd_rand random(seed);
    std::vector<Field> fields;
    std::copy_if(std::begin(kFields), std::end(kFields), std::back_inserter(fields),
                 [data, size, most](const Field &field) {
                     return size >= sizeof(RequestHeader) && most >= sizeof(RequestFrame) && field.cmd == data[0];
                 });
    if (fields.empty() || random() % 2 == 0) {
        return LLVMFuzzerMutate(data, size, most);
    }
    const Field &field = fields[random() % fields.size()];
    uint8_t *const at = data + field.offset;
    const size_t end = field.offset + field.size;
    std::fill(data + std::min(size, end), data + end, 0);
    if (field.is_text) {
        const size_t length = random() % 4 == 0
                                  ? kWords[random() % kWords.size()].copy(reinterpret_cast<char *>(at), field.size)
                                  : LLVMFuzzerMutate(at, strnlen(reinterpret_cast<char *>(at), field.size), field.size);
        std::fill(at + length, data + end, random() % 4 == 0 ? 'a' : '\0'); // or without a NUL
    } else if (random() % 2 == 0) {
        std::fill(at, data + end, 0);
        *at = static_cast<uint8_t>(random() % 8);
    } else {
        LLVMFuzzerMutate(at, field.size, field.size);
    }
    return std::max(size, end);
}
