// What a command line comes to: the message for the daemon, and how its answer reads.
#pragma once

#include <q7net/protocol.h>

#include <cstdint>
#include <string>
#include <vector>

class CommandLine;
struct Request;

// What a result code says of one command, where that is more than it says of all.
struct Meaning {
    int rc;
    const char *text;
};

// The name of a command is that of its code: RD_CMD_HOSTS_FILE is hosts-file on the command line.
template <size_t N>
struct CommandName {
    char text[N];
    consteval CommandName(const char (&code)[N]) // NOLINT(google-explicit-constructor): made of a literal
    {
        for (size_t i = 0; i < N; i++) {
            const bool letter = code[i] >= 'A' && code[i] <= 'Z';
            text[i] = letter ? static_cast<char>(code[i] - 'A' + 'a') : code[i] == '_' ? '-' : code[i];
        }
    }
};
template <CommandName name>
inline constexpr const char *kCommandName = name.text;

// The first two members of a Command.
#define COMMAND(CODE) .name = kCommandName<#CODE>, .code = RD_CMD_##CODE

struct Command {
    const char *name; // on the command line
    uint32_t code;
    const char *summary;
    const char *example;         // its arguments
    const char *tool = "a tool"; // whose wait status the reply carries
    std::vector<Meaning> meanings = {};
    // What the record holds unless told, where that is not zeros.
    void (*set_defaults)(RequestFrame &frame) = [](RequestFrame &) {};
    void (*add_options)(const CommandLine &command, Request &request) = [](const CommandLine &, Request &) {};
};

struct Request {
    Command command{};
    RequestFrame frame{};
    std::string message; // what is sent: the frame, unless the command line gave bytes of its own
};
