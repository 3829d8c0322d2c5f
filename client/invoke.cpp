#include "invoke.h"

#include "help.h"
#include "words.h"

#include <array>

std::span<const Group> groups()
{
    static const std::array all = {link_commands(), address_commands(), management_commands(),
                                   host_commands(), policy_commands(),  system_commands(),
                                   mdns_commands(), server_commands(),  local_commands()};
    return all;
}

const Command &find_command(const std::string &name)
{
    Texts names;
    for (const Group &group : groups()) {
        for (const Command &command : group.commands) {
            if (name == command.name) {
                return command;
            }
            names.emplace_back(command.name);
        }
    }
    refuse("unknown command '" + name + "'" + did_you_mean(name, names));
}

void add_options(CommandLine &line, Options &options)
{
    constexpr int kDay = 86400;
    const auto help = [](const Texts &) {};
    line.values("-h,--help", "show the help; behind a command, of this command", 1, 1, help).value_name.clear();
    line.value("--socket PATH", "the daemon's socket [" RD_SOCKET_PATH "]",
               [&options](const std::string &given) { options.socket = given; });
    line.number("--timeout SECONDS", options.timeout, 1, kDay, "how long to wait for the answer [60]");
    line.number("--tag NUMBER", options.tag, 0, UINT32_MAX, "by which the log names the request [this process's ID]");
    line.flag("--json", options.json, "answer with a JSON object");
    line.flag("-q,--quiet", options.quiet, "say nothing of what is done, only of what is not");
    line.flag("-v,--verbose", options.verbose, "show what is sent and received");
    line.flag("--log", options.log, "show what the error log gets meanwhile; it may tell of a failure");
    line.flag("--dry-run", options.dry_run, "show what would be sent, and send nothing");
}

static ExitStatus run_parsed(Session &session, Request &request, const Texts &words)
{
    uint32_t version = 0;
    uint32_t help_all = 0;
    CommandLine line;
    add_options(line, request.options);
    line.flag("--version", version, "show the version");
    line.flag("--help-all", help_all, "show the help of all commands");
    const bool parsed = line.parse(words, [&](const std::string &word) {
        // The records share their bytes: defaults are set when it is clear which is meant.
        request.command = &find_command(word);
        request.frame.header.cmd = request.command->code;
        request.command->set_defaults(request.frame);
        request.command->add_options(line, request);
    });
    if (!parsed) {
        request.command != nullptr ? show_help(*request.command) : show_help();
    } else if (version != 0) {
        puts("q7rdctl " Q7NET_VERSION);
    } else if (help_all != 0) {
        show_all_help();
    } else {
        require(request.command != nullptr, "a command");
        request.frame.header.tag = request.options.tag;
        return request.command->run(session, request);
    }
    return kSuccess;
}

ExitStatus run_words(Session &session, const Options &options, const Texts &words)
{
    Request request;
    request.options = options;
    try {
        return run_parsed(session, request, words);
    } catch (const UsageError &error) {
        const std::string command = request.command != nullptr ? std::string(" ") + request.command->name : "";
        fprintf(stderr, "q7rdctl: %s%s (q7rdctl%s --help tells more)\n", options.place.c_str(), error.text.c_str(),
                command.c_str());
        return kUsage;
    }
}

ExitStatus run_line(Session &session, const Options &options, const std::string &line)
{
    try {
        const Texts words = words_of_line(line);
        return words.empty() ? kSuccess : run_words(session, options, words);
    } catch (const UsageError &error) {
        fprintf(stderr, "q7rdctl: %s%s\n", options.place.c_str(), error.text.c_str());
        return kUsage;
    }
}
