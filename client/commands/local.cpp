// What this program does besides sending one request.

#include "catalogue.h"
#include "errorlog.h"
#include "help.h"
#include "invoke.h"
#include "platformlog.h"
#include "words.h"

#include <cerrno>
#include <fstream>
#include <iostream>

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
        return show_platform_log(request.options.tag, request.follow != 0);
    }
    constexpr int kPause = 200; // ms
    ErrorLog log(ErrorLog::From::kStart);
    do {
        for (const std::string &record : log.take()) {
            puts(request.options.json != 0 ? ("{\"record\":" + quoted(record) + "}").c_str() : record.c_str());
        }
        if (!log.problem().empty()) {
            fprintf(stderr, "q7rdctl: %s\n", log.problem().c_str());
            return kFailure;
        }
        if (fflush(stdout) != 0) {
            fprintf(stderr, "q7rdctl: the log could not be written: %s\n", strerror(errno));
            return kFailure;
        }
        poll(nullptr, 0, request.follow != 0 ? kPause : 0);
    } while (request.follow != 0);
    return kSuccess;
}

// A line's failure decides the exit status; the first that failed, if others follow it.
ExitStatus run_batch(Session &session, Request &request)
{
    if (!request.options.place.empty()) {
        refuse("a batch has no batch in it");
    }
    std::ifstream file;
    const bool from_file = !request.argument.empty() && request.argument != "-";
    if (from_file) {
        file.open(request.argument);
        if (!file) {
            fprintf(stderr, "q7rdctl: %s cannot be read: %s\n", request.argument.c_str(), strerror(errno));
            return kUsage;
        }
    }
    ExitStatus status = kSuccess;
    Options options = request.options;
    std::string line;
    for (int number = 1; std::getline(from_file ? file : std::cin, line); number++) {
        options.place = std::to_string(number) + ": ";
        const ExitStatus one = run_line(session, options, line);
        status = status == kSuccess ? one : status;
        if (one != kSuccess && request.keep_going == 0) {
            break;
        }
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
