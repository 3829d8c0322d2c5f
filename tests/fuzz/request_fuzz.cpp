// Requests to the handlers. The tag, which means nothing to the daemon, decides how the world answers.

#include "dispatch.h"
#include "fields.h"
#include "mdns/scripted_avahi.h"
#include "world.h"

#include <algorithm>
#include <iterator>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    RequestFrame request{};
    memcpy(&request, data, std::min(size, sizeof request - 1)); // as the server takes it
    avahi::script->failing = {"thread"};                        // what browses find has a program of its own
    world::begin(request.header.tag, &request);
    int32_t rc = 0;
    rd_run_command(&request, &rc);
    world::end();
    return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);

// Every other time changes one field of the command, which blind changes rarely hit.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed)
{
    std::minstd_rand random(seed);
    const auto [first, last] =
        std::equal_range(std::begin(kFields), std::end(kFields), Field{.cmd = data[0]},
                         [](const Field &one, const Field &other) { return one.cmd < other.cmd; });
    if (size < sizeof(RequestHeader) || most < sizeof(RequestFrame) || first == last || random() % 2 == 0) {
        return LLVMFuzzerMutate(data, size, most);
    }
    const Field &field = first[random() % static_cast<size_t>(last - first)];
    uint8_t *const at = data + field.offset;
    const size_t end = field.offset + field.size;
    std::fill(data + std::min(size, end), data + end, 0);
    if (field.is_text) {
        const size_t length = LLVMFuzzerMutate(at, strnlen(reinterpret_cast<char *>(at), field.size), field.size);
        std::fill(at + length, data + end, random() % 4 == 0 ? '1' : '\0'); // or without a NUL
    } else if (random() % 2 == 0) {
        std::fill(at, data + end, 0);
        *at = static_cast<uint8_t>(random() % 8);
    } else {
        LLVMFuzzerMutate(at, field.size, field.size);
    }
    return std::max(size, end);
}
