#include "show.h"

#include "fields.h"
#include "words.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

// Shows bytes by their offsets, up to the last that is not zero, which is as much as a frame needs.
void show_bytes(const char *title, const std::string &bytes)
{
    fprintf(stderr, "%s, %zu bytes\n", title, bytes.size());
    const size_t end = bytes.find_last_not_of('\0') + 1;
    constexpr size_t kRow = 16;
    for (size_t row = 0; row < end; row += kRow) {
        std::string text;
        fprintf(stderr, "%6zu ", row);
        for (size_t i = row; i < row + kRow; i++) {
            if (i < end) {
                const auto byte = static_cast<unsigned char>(bytes[i]);
                fprintf(stderr, " %02x", byte);
                text += isprint(byte) != 0 ? bytes[i] : '.';
            } else {
                fputs("   ", stderr);
            }
        }
        fprintf(stderr, "  %s\n", text.c_str());
    }
}

// A field in words, empty if it is zeros, which is what fields are that say nothing.
static std::string value_of(const std::string &frame, const Field &field)
{
    if (field.is_text) {
        return frame.substr(field.offset, std::min(field.size, frame.find('\0', field.offset) - field.offset));
    }
    int32_t number = 0;
    frame.copy(reinterpret_cast<char *>(&number), field.size, field.offset);
    return number == 0 ? "" : std::to_string(number);
}

// The record in words: "cmd=7 tag=4711 state=1 ifname=eth1".
static std::string in_words(const Request &request, const std::string &message)
{
    const RequestHeader &header = request.frame.header;
    std::string text = "cmd=" + std::to_string(header.cmd) + (header.wait != 0 ? " wait=1" : "") +
                       " tag=" + std::to_string(header.tag);
    std::string frame = message;
    frame.resize(std::max(message.size(), sizeof(RequestFrame)));
    std::string last; // the name of a list stands once
    for (const Field &field : kFields) {
        const std::string value = field.cmd == header.cmd ? value_of(frame, field) : "";
        if (!value.empty()) {
            text += (field.name == last ? "," : std::string(" ") + field.name + "=") + value;
            last = field.name;
        }
    }
    const bool whole = message.size() == sizeof(RequestFrame);
    return text + (whole ? "" : " (" + std::to_string(message.size()) + " bytes)");
}

bool show_record(const Options &options, const std::string &record)
{
    puts(options.json != 0 ? ("{\"record\":" + quoted(record) + "}").c_str() : record.c_str());
    if (fflush(stdout) != 0) {
        fprintf(stderr, "q7rdctl: the log could not be written: %s\n", strerror(errno));
        return false;
    }
    return true;
}

ExitStatus show_request(const Request &request, const std::string &message)
{
    if (request.options.verbose != 0) {
        show_bytes("request", message);
    }
    if (request.options.json == 0) {
        puts(in_words(request, message).c_str());
        return kSuccess;
    }
    std::string digits;
    for (const char byte : message.substr(0, message.find_last_not_of('\0') + 1)) {
        char two[3];
        snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(byte));
        digits += two;
    }
    printf("{\"command\":%s,\"size\":%zu,\"frame\":\"%s\"}\n", quoted(request.command->name).c_str(), message.size(),
           digits.c_str());
    return kSuccess;
}
