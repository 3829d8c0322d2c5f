// Writes the inputs that fuzzing starts from: seeds FOLDER makes FOLDER/request with valid messages of all commands, whose
// numbers are all 0, or all 1, and so on; and FOLDER/resolver.

#include "fields.h"
#include <q7net/protocol.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

// A good text for a field of this name; the first that is part of it counts.
static const char *text_for(const std::string &name)
{
    static constexpr const char *kTexts[][2] = {{"mac", "02:00:00:00:00:01"}, {"lladdr", "02:00:00:00:00:02"},
                                                {"addr", "10.0.0.5"},         {"mask", "255.255.255.0"},
                                                {"gateway", "10.0.0.1"},      {"dns", "10.0.0.2"},
                                                {"proxy", "10.0.0.3"},        {"router", "fe80::1"},
                                                {"prefix", "fd00::"},         {"table", "rt2"},
                                                {"_arg", "disable"}};
    for (const auto &[part, text] : kTexts) {
        if (name.find(part) != std::string::npos) {
            return text;
        }
    }
    return "eth1";
}

static void write(const std::filesystem::path &path, const std::string &bytes)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

int main(int argc, char *argv[])
{
    const std::filesystem::path folder = argc == 2 ? argv[1] : ".";
    constexpr uint32_t kNumbers = 6;
    for (uint32_t i = 0; i < RD_CMD_TERMINATE * kNumbers; i++) {
        const uint32_t number = i % kNumbers;
        const RequestHeader header{i / kNumbers + 1, number, 0};
        std::string frame(sizeof(RequestFrame), '\0');
        memcpy(frame.data(), &header, sizeof header);
        for (const Field &field : kFields) {
            if (field.cmd == header.cmd) {
                const std::string value =
                    field.is_text ? text_for(field.name) : std::string(1, static_cast<char>(number));
                value.copy(&frame[field.offset], field.size);
            }
        }
        frame.resize(std::max(frame.find_last_not_of('\0') + 1, sizeof header));
        write(folder / "request" / (std::to_string(header.cmd) + "-" + std::to_string(number)), frame);
    }
    for (const char *type : {"_zerotouchprovsrv._tcp", "_Redfish._tcp"}) {
        std::string service = std::string(4, '\0') + "4";
        for (const std::string text : {"name", type, "local", "h.local", "\x0a\x01\x02\x03", "args=a b",
                                       "DEF_DEVICETYPE=kx", "DEF_SLOTINFO=7"}) {
            service += static_cast<char>(text.size()) + text;
        }
        write(folder / "resolver" / type, service);
    }
}
