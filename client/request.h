// What a command line comes to.
#pragma once

#include <q7net/client.h>

#include <cstdint>
#include <string>

class CommandLine;
struct Command;

enum ExitStatus { kSuccess = 0, kFailure = 1, kUsage = 2, kNoReply = 3 };

// What every command takes.
struct Options {
    std::string socket = RD_SOCKET_PATH;
    int line = 0;         // of a batch; it is put before what is said
    int32_t timeout = 60; // s
    uint32_t tag = 0;
    uint32_t json = 0;
    uint32_t quiet = 0;
    uint32_t verbose = 0;
    uint32_t log = 0;
    uint32_t dry_run = 0;
};

struct Request {
    const Command *command = nullptr;
    Options options;
    RequestFrame frame{};
    std::string bytes; // of "raw": what stands behind the header
    // Of what is not sent:
    std::string argument; // a file, or another command's name
    uint32_t follow = 0;
    uint32_t keep_going = 0;
    bool by_tag = false;
};

// The connection, which the requests of a batch share.
class Session
{
  public:
    Session() = default;
    ~Session() { q7net_close(client_); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    q7net *client(const std::string &socket); // null, with errno, if there can be none

  private:
    q7net *client_ = nullptr;
    std::string socket_;
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

// Sends the request, waits for its reply, and says what became of it.
ExitStatus send_request(Session &session, Request &request);

// Sends one that changes nothing, and says how long the reply took.
ExitStatus ping(Session &session, Request &request);

struct Command {
    const char *name; // on the command line
    uint32_t code = 0;
    const char *summary;
    const char *example; // its arguments
    // What the record holds unless told, where that is not zeros.
    void (*set_defaults)(RequestFrame &frame) = [](RequestFrame &) {};
    void (*add_options)(CommandLine &command, Request &request) = [](CommandLine &, Request &) {};
    ExitStatus (*run)(Session &session, Request &request) = send_request;
};
