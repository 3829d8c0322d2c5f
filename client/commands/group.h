// What the files of this folder share. Each has the commands of one group: a function that binds a command's options to
// its record, and a row that says what there is to know besides. The meanings of a row are all the codes that the daemon
// answers to what this client sends: it refuses the rest itself, so that another number is a wait status and 11 a
// segmentation fault.
#pragma once

#include "options.h"
#include "request.h"

#include <cstring>
#include <span>

// Commands that stand together in the help.
struct Group {
    const char *title;
    std::span<const Command> commands;
};
Group link_commands();
Group address_commands();
Group management_commands();
Group host_commands();
Group policy_commands();
Group system_commands();
Group mdns_commands();
Group server_commands();

inline const Words kDownUp = {{"down", 0}, {"up", 1}};
inline const Words kOffOn = {{"off", 0}, {"on", 1}};
inline constexpr int kLeaveAlone = -1;
inline constexpr const char *kIfname = "interface";
inline constexpr const char *kNoTool = "a tool"; // none that this client knows of
inline constexpr Meaning kBadIfname = {RD_RC_INVALID, "interface name holds a character that is not allowed"};
// Where 0 says only that the last step went well.
inline constexpr Meaning kSeveralSteps = {RD_RC_OK, "the error log tells how each step ended"};

// Speed and duplex mean something only without auto-negotiation, and then both do.
template <typename Record>
void add_tuning(CommandLine command, Record &record)
{
    const Words speeds = {{"10", 10},       {"100", 100},     {"1000", 1000},   {"2500", 2500},   {"10000", 10000},
                          {"20000", 20000}, {"25000", 25000}, {"40000", 40000}, {"50000", 50000}, {"100000", 100000}};
    command.choice("--speed", record.speed, speeds, "Mb/s, without auto-negotiation");
    command.choice("--duplex", record.duplex, {{"half", 0}, {"full", 1}}, "without auto-negotiation [full]");
    command.choice("--link", record.link_state, kDownUp, "state afterwards [up]");
    command.finally([command, &record] {
        require(record.autoneg != 0 || record.speed != 0, "--speed, without auto-negotiation");
        if (record.autoneg != 0 && (command.has("--speed") || command.has("--duplex"))) {
            refuse("--speed and --duplex need --autoneg off");
        }
    });
}
