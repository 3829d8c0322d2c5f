// What a command line comes to: the message for the daemon, and how its answer reads.
#pragma once

#include "core/protocol.h"

#include <cstdint>
#include <string>
#include <vector>

// What a result code says of one command, where that is more than it says of all.
struct Meaning {
    int rc;
    const char *text;
};

struct Command {
    const char *name; // on the command line
    uint32_t code;
    const char *group; // in the help
    const char *summary;
    const char *example;
    const char *tool; // whose wait status the reply carries
    std::vector<Meaning> meanings;
};

struct Request {
    Command command{};
    RequestFrame frame{};
    std::string message; // what is sent: the frame, unless the command line gave bytes of its own
};
