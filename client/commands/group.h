// What the files of this folder share. Each has the commands of one group, and all that the client knows of a command
// stands in its row, among it how its options fill its record. What its result codes mean, the library knows.
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
Group local_commands();

inline constexpr Word kDownUp[] = {{"down", RD_LINK_DOWN}, {"up", RD_LINK_UP}};
inline constexpr Word kOffOn[] = {{"off", 0}, {"on", 1}};

// Speed and duplex mean something only without auto-negotiation, and then both do.
template <typename Record>
void add_tuning(CommandLine &command, Record &record)
{
    constexpr Word kSpeeds[] = {{"10", 10},       {"100", 100},      {"1000", 1000},   {"2500", 2500},
                                {"10000", 10000}, {"20000", 20000},  {"25000", 25000}, {"40000", 40000},
                                {"50000", 50000}, {"100000", 100000}};
    command.choice("--speed", record.speed, kSpeeds, "Mb/s, without auto-negotiation");
    command.choice("--duplex", record.duplex, {{"half", RD_DUPLEX_HALF}, {"full", RD_DUPLEX_FULL}},
                   "without auto-negotiation [full]");
    command.choice("--link", record.link_state, kDownUp, "state afterwards [up]");
    command.finally([&command, &record] {
        require(record.autoneg != RD_AUTONEG_OFF || record.speed != 0, "--speed, without auto-negotiation");
        if (record.autoneg != RD_AUTONEG_OFF && (command.has("--speed") || command.has("--duplex"))) {
            refuse("--speed and --duplex need --autoneg off");
        }
    });
}
