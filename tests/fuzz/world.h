// The world in which the daemon's code is fuzzed. It stands in for everything that this code does outside its own memory,
// does nothing, and aborts when the code breaks one of its promises.
#pragma once

#include <q7net/protocol.h>

#include <cstdarg>
#include <string_view>

namespace world
{

// Thrown where a process of the daemon would end.
struct Ended {
};

// One of the daemon's files, as a pattern: * is a name.
struct Place {
    const char *path;
    std::string_view deeds; // that may be done with it: a append, d delete, r read, w write
    std::string_view text;  // it holds when all goes well
};

// Begins and ends a run.
//   luck     decides how tools end, what files hold and what fails; 0: all goes well
//   request  texts that point into it must keep to their fields; null: all texts are the network's and reach no log raw
void begin(uint32_t luck, const RequestFrame *request);
void end();
bool is_running();
unsigned choose(unsigned outcomes); // picks one of so many, 0 being the good one

// The promises. Each reports a broken one and aborts.
[[noreturn, gnu::format(printf, 1, 2)]] void broken(const char *format, ...);
void check_text(const char *text, const char *use);         // a text in the request is a whole field of its command
void check_formatted(const char *format, va_list args);     // the same for all texts that are formatted
void check_words(const char *const argv[]);                 // a fixed tool and its words
void check_line(std::string_view line, const char *where);  // of the network's texts: one without control characters
const Place *check_place(std::string_view path, char deed); // a file of ours; returns what we know of it

} // namespace world
