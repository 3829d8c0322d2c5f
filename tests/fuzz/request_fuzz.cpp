// Requests to the handlers. The tag, which means nothing to the daemon, decides how the world answers.

#include "dispatch.h"
#include "fields.h"
#include "mdns/scripted_avahi.h"
#include "world.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <string_view>
#include <vector>

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
        std::fill(at + length, data + end, random() % 4 == 0 ? '1' : '\0'); // or without a NUL
    } else if (random() % 2 == 0) {
        std::fill(at, data + end, 0);
        *at = static_cast<uint8_t>(random() % 8);
    } else {
        LLVMFuzzerMutate(at, field.size, field.size);
    }
    return std::max(size, end);
}
