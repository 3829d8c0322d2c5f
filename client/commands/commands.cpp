#include "commands/commands.h"

#include "commands/group.h"

#include <CLI/CLI.hpp>

void add_commands(CLI::App &app, Request &request)
{
    for (const auto &[title, commands] : {link_commands(), address_commands(), management_commands(), host_commands(),
                                          policy_commands(), system_commands(), mdns_commands(), server_commands()}) {
        for (const Command &command : commands) {
            CLI::App *subcommand = app.add_subcommand(command.name, command.summary);
            subcommand->group(title)->fallthrough();
            subcommand->footer("q7rdctl --help tells of the options that every command takes.\n\nExample:\n  q7rdctl " +
                               std::string(command.example));
            // The records share their bytes: defaults are set when it is clear which is meant.
            subcommand->preparse_callback([&request, &command](size_t) {
                request.command = command;
                request.frame.header.cmd = command.code;
                if (command.set_defaults != nullptr) {
                    command.set_defaults(request.frame);
                }
            });
            command.add_options(CommandLine(subcommand), request);
        }
    }
}
