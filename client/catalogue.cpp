#include "catalogue.h"

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
