// q7rdctl: the command-line client of q7net-shellexec.
//
// Exit status: 0 success, 1 a request that was refused or failed, 2 wrong usage (nothing was sent), 3 no reply.

#include "answer.h"
#include "commands/group.h"
#include "exchange.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <CLI/CLI.hpp>
#include <unistd.h>

enum ExitStatus { kSuccess = 0, kFailure = 1, kUsage = 2, kNoReply = 3 };

struct Options {
    std::string socket = RD_SOCKET_PATH;
    int timeout = 60; // s
    bool json = false;
    bool verbose = false;
};

static void add_options(CLI::App &app, Options &options, RequestHeader &header)
{
    app.set_version_flag("--version", "q7rdctl " Q7NET_VERSION, "Show the version");
    app.set_help_all_flag("--help-all", "Show the help of all commands");
    app.add_option("--socket", options.socket, "The daemon's socket [" RD_SOCKET_PATH "]")->option_text("PATH");
    constexpr int kDay = 86400;
    CommandLine(&app).number("--timeout SECONDS", options.timeout, 1, kDay, "How long to wait for the answer [60]");
    CommandLine(&app).number("--tag NUMBER", header.tag, 0, UINT32_MAX,
                             "By which the log names the request [this process's PID]");
    app.add_flag("--json", options.json, "Answer with a JSON object");
    app.add_flag("-v,--verbose", options.verbose, "Show what is sent and received");
    app.require_subcommand(0, 1)->callback([&app] { // checked last, so that a word which is none is told first
        if (app.get_subcommands().empty()) {
            throw CLI::RequiredError("a command");
        }
    });
    app.failure_message([](const CLI::App *, const CLI::Error &error) {
        return std::string("q7rdctl: ") + error.what() + "\nRun with --help for more information.\n";
    });
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Positionals", "Arguments");
    app.footer("Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no reply\n\n"
               "Example:\n  q7rdctl link eth1 down\n  q7rdctl link --help");
}

// Parsing a command line fills the request, which must live as long as the parser.
static void add_commands(CLI::App &app, Request &request)
{
    for (const auto &[title, commands] : {link_commands(), address_commands(), management_commands(), host_commands(),
                                          policy_commands(), system_commands(), mdns_commands(), server_commands()}) {
        for (const Command &command : commands) {
            CLI::App *subcommand = app.add_subcommand(command.name, command.summary);
            subcommand->group(title)->fallthrough();
            subcommand->footer("q7rdctl --help tells of the options that every command takes.\n\nExample:\n  q7rdctl " +
                               std::string(command.name) + " " + command.example);
            // The records share their bytes: defaults are set when it is clear which is meant.
            subcommand->preparse_callback([&request, &command](size_t) {
                request.command = command;
                request.frame.header.cmd = command.code;
                command.set_defaults(request.frame);
            });
            command.add_options(CommandLine(subcommand), request);
        }
    }
}

// Shows bytes by their offsets, up to the last that is not zero, which is as much as a frame needs.
static void show(const char *title, const std::string &bytes)
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

int main(int argc, char *argv[]) // NOLINT(bugprone-exception-escape): only when there is no memory
{
    Request request;
    Options options;
    request.frame.header.tag = static_cast<uint32_t>(getpid());
    CLI::App app("Sends one request to q7net-shellexec, the network executor, and says what became of it.", "q7rdctl");
    add_options(app, options, request.frame.header);
    add_commands(app, request);
    for (int i = 1; i < argc; i++) { // the parser would take such a word for several
        if (argv[i][0] == '[' && argv[i][strlen(argv[i]) - 1] == ']') {
            fprintf(stderr, "q7rdctl: '%s' is no argument of any command\n", argv[i]);
            return kUsage;
        }
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) { // also a call for help
        return app.exit(error) == 0 ? kSuccess : kUsage;
    }

    // A frame of its own, or the bytes of "raw" behind the same header.
    const char *const frame = reinterpret_cast<const char *>(&request.frame);
    const bool raw = request.command.code == 0;
    request.message.insert(0, frame, raw ? sizeof request.frame.header : sizeof request.frame);
    if (options.verbose) {
        show("request", request.message);
    }

    ReplyFrame reply{};
    Answer answer{};
    ExitStatus status = kNoReply;
    if (exchange(options.socket, request.message, options.timeout, &reply, &answer.meaning)) {
        if (options.verbose) {
            show("reply", std::string(reinterpret_cast<const char *>(&reply), sizeof reply));
        }
        answer = read_answer(request, reply.rc);
        status = answer.success ? kSuccess : kFailure;
    }
    if (options.json) {
        puts(to_json(request, answer).c_str());
    } else if (status == kNoReply) {
        fprintf(stderr, "q7rdctl: %s\n", answer.meaning.c_str());
    } else {
        puts(to_text(answer).c_str());
    }
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        fprintf(stderr, "q7rdctl: %s, but that could not be written: %s\n", to_text(answer).c_str(), strerror(errno));
        return status == kSuccess ? kFailure : status;
    }
    return status;
}
