// What this program does besides sending one request.

#include "catalogue.h"
#include "errorlog.h"
#include "help.h"
#include "invoke.h"
#include "platformlog.h"
#include "show.h"
#include "words.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <poll.h>

namespace
{

ExitStatus help(Session & /*session*/, Request &request)
{
    if (request.argument.empty()) {
        show_help();
    } else {
        show_help(find_command(request.argument));
    }
    return kSuccess;
}

// Shows the error log, and what comes to it for as long as it is followed.
ExitStatus show_log(Session & /*session*/, Request &request)
{
    if (request.by_tag) {
        return show_platform_log(request);
    }
    constexpr int kPause = 200; // ms
    ErrorLog log(ErrorLog::From::kStart);
    do {
        for (const std::string &record : log.take()) {
            if (!show_record(request.options, record)) {
                return kFailure;
            }
        }
        if (!log.problem().empty()) {
            fprintf(stderr, "q7rdctl: %s\n", log.problem().c_str());
            return kFailure;
        }
        poll(nullptr, 0, request.follow != 0 ? kPause : 0);
    } while (request.follow != 0);
    return kSuccess;
}

// A line's failure decides the exit status; the first that failed, if others follow it.
ExitStatus run_batch(Session &session, Request &request)
{
    if (request.options.line != 0) {
        refuse("a batch has no batch in it");
    }
    const bool from_file = !request.argument.empty() && request.argument != "-";
    const char *const name = from_file ? request.argument.c_str() : "standard input";
    FILE *const lines = from_file ? fopen(name, "re") : stdin;
    ExitStatus status = kSuccess;
    Options options = request.options;
    char *line = nullptr;
    size_t size = 0;
    while ((status == kSuccess || request.keep_going != 0) && lines != nullptr && getline(&line, &size, lines) > 0) {
        options.line++;
        const ExitStatus one = run_line(session, options, line);
        status = status == kSuccess ? one : status;
    }
    free(line);
    if (lines == nullptr || ferror(lines) != 0) {
        fprintf(stderr, "q7rdctl: %s cannot be read: %s\n", name, strerror(errno));
        status = status == kSuccess ? kUsage : status;
    }
    if (from_file && lines != nullptr) {
        fclose(lines);
    }
    return status;
}

const Command kCommands[] = {
    {
        .name = "batch",
        .summary = "carry out requests from a file, one a line, until one fails",
        .example = "/etc/network.q7 --json",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.value("PATH", "the file; without it, standard input",
                              [&request](const std::string &given) { request.argument = given; });
                command.flag("--keep-going", request.keep_going, "go on behind a line that failed");
            },
        .run = run_batch,
    },
    {
        .name = "log",
        .summary = "show the daemon's error log, or of the platform log what one request brought",
        .example = "--follow",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.flag("--follow", request.follow, "go on with new records as they come");
                command.finally([&command, &request] { request.by_tag = command.has("--tag"); });
            },
        .run = show_log,
    },
    {
        .name = "ping",
        .summary = "ask the daemon for an answer; nothing is changed",
        .example = "",
        .set_defaults = [](RequestFrame &frame) { frame.header.cmd = RD_CMD_SIDEBAND; }, // which deletes nothing then
        .run = ping,
    },
    {
        .name = "help",
        .summary = "show the help, of a command if one is named",
        .example = "link",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.value("COMMAND", "the command",
                              [&request](const std::string &given) { request.argument = given; });
            },
        .run = help,
    },
};

} // namespace

Group local_commands()
{
    return {"Besides", kCommands};
}
