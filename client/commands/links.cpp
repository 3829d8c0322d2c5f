// Links: state, tuning, bonds, and frames sent on them.

#include "commands/group.h"

namespace
{

const Command kCommands[] = {
    {
        COMMAND(LINK),
        .summary = "set a link up or down",
        .example = "eth1 down",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.ifname(request.frame.link.ifname);
                command.choice("STATE", request.frame.link.state, kDownUp, "the state to set").required();
            },
    },
    {
        COMMAND(LINK_TUNING),
        .summary = "set auto-negotiation, speed and duplex",
        .example = "eth2 --autoneg off --speed 1000 --duplex full",
        .set_defaults =
            [](RequestFrame &frame) {
                frame.link_tuning.duplex = RD_DUPLEX_FULL;
                frame.link_tuning.link_state = RD_LINK_UP;
            },
        .add_options =
            [](CommandLine &command, Request &request) {
                LinkTuningRequest &record = request.frame.link_tuning;
                command.ifname(record.ifname);
                command
                    .choice("--autoneg", record.autoneg, {{"off", RD_AUTONEG_OFF}, {"on", RD_AUTONEG_ON}},
                            "auto-negotiation")
                    .required();
                add_tuning(command, record);
            },
    },
    {
        COMMAND(CONJOIN),
        .summary = "add interfaces to a bond",
        .example = "bond0 eth1 eth2",
        .add_options =
            [](CommandLine &command, Request &request) {
                ConjoinRequest &record = request.frame.conjoin;
                command.text("BOND", record.bond, "the bond").required();
                command.texts("LOWER", record.lower, "up to three; the first becomes primary and active").required();
            },
    },
    {
        COMMAND(SEND_PACKET),
        .summary = "send the link-layer frame stored for an interface",
        .example = "eth0",
        .add_options = [](CommandLine &command, Request &request) { command.ifname(request.frame.send_packet.ifname); },
    },
};

} // namespace

Group link_commands()
{
    return {"Links", kCommands};
}
