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

struct Command {
    const char *name; // on the command line
    uint32_t code;
    const char *summary;
    const char *example;
    const char *tool; // whose wait status the reply carries
    std::vector<Meaning> meanings;
    void (*add_options)(CommandLine command, Request &request);
    void (*set_defaults)(RequestFrame &frame) = nullptr; // what the record holds unless told, where that is not zeros
};

struct Request {
    Command command{};
    RequestFrame frame{};
    std::string message; // what is sent: the frame, unless the command line gave bytes of its own
};
