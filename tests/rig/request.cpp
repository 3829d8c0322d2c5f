#include "rig/request.h"

#include "fields.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <regex>
#include <sstream>

namespace rig
{

[[noreturn]] static void bad(const std::string &line, const std::string &why)
{
    fprintf(stderr, "request '%s': %s\n", line.c_str(), why.c_str());
    exit(98);
}

std::vector<std::string> words_of(const std::string &line)
{
    static const std::regex word("('[^']*'|[^ '])+");
    static const std::regex line_end(R"(\\n)");
    std::vector<std::string> words;
    for (std::sregex_iterator each(line.begin(), line.end(), word), end; each != end; ++each) {
        words.push_back(std::regex_replace(each->str(), line_end, "\n"));
        std::erase(words.back(), '\'');
    }
    return words;
}

std::string repeated(const std::string &value)
{
    const bool times = value.size() > 2 && value[1] == '*';
    return times ? std::string(std::stoul(value.substr(2)), value[0]) : value;
}

static uint32_t code_of(const std::string &command)
{
    const auto *const found = std::find(std::begin(kCommands), std::end(kCommands), command);
    return static_cast<uint32_t>(found != std::end(kCommands) ? found - kCommands : std::stol(command));
}

RequestFrame request_of(const std::string &line)
{
    const std::vector<std::string> words = words_of(line);
    std::string bytes(sizeof(RequestFrame), '\0');
    const auto put = [&bytes](size_t offset, size_t size, long long number) {
        bytes.replace(offset, size, reinterpret_cast<const char *>(&number), size);
    };
    const uint32_t code = code_of(words.at(0));
    put(offsetof(RequestHeader, cmd), 4, code);
    for (size_t i = 1; i < words.size(); i++) {
        const size_t equals = words[i].find('=');
        const std::string name = words[i].substr(0, equals);
        std::istringstream values(words[i].substr(equals + 1));
        std::string value;
        if (name == "wait" || name == "tag") {
            put(name == "wait" ? offsetof(RequestHeader, wait) : offsetof(RequestHeader, tag), 4,
                std::stoll(values.str()));
            continue;
        }
        size_t taken = 0;
        for (const Field &field : kFields) {
            if (field.cmd != code || field.name != name || !std::getline(values, value, ',')) {
                continue;
            }
            taken++;
            if (!field.is_text) {
                put(field.offset, field.size, std::stoll(value));
            } else if (value = repeated(value); value.size() <= field.size) {
                bytes.replace(field.offset, value.size(), value);
            } else {
                bad(line, value + " is longer than its field");
            }
        }
        if (taken == 0 || std::getline(values, value)) {
            bad(line, "no such field, or too many values: " + words[i]);
        }
    }
    RequestFrame frame;
    memcpy(&frame, bytes.data(), sizeof frame);
    return frame;
}

} // namespace rig
