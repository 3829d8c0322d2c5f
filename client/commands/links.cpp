// Links: state, tuning, bonds, and frames sent on them.

#include "commands/group.h"

namespace
{

void link(CommandLine command, Request &request)
{
    command.text("IFNAME", request.frame.link.ifname, kIfname).required();
    command.choice("STATE", request.frame.link.state, kDownUp, "the state to set").required();
}

void tuning(CommandLine command, Request &request)
{
    LinkTuningRequest &record = request.frame.link_tuning;
    command.text("IFNAME", record.ifname, kIfname, any_text, RD_IFNAME_SIZE - 1).required();
    command.choice("--autoneg", record.autoneg, kOffOn, "auto-negotiation").required();
    add_tuning(command, record);
}

void tuning_defaults(RequestFrame &frame)
{
    frame.link_tuning.duplex = 1;
    frame.link_tuning.link_state = 1;
}

void conjoin(CommandLine command, Request &request)
{
    command.text("BOND", request.frame.conjoin.bond, "the bond").required();
    command.texts("LOWER", request.frame.conjoin.lower, "up to three; the first becomes primary and active").required();
}

void send_packet(CommandLine command, Request &request)
{
    command.text("IFNAME", request.frame.send_packet.ifname, kIfname, any_text, RD_IFNAME_SIZE - 1).required();
}

const Command kCommands[] = {
    {"link", RD_CMD_LINK, "set a link up or down", "link eth1 down", "ip", {kBadIfname}, link},
    {"tuning",
     RD_CMD_LINK_TUNING,
     "set auto-negotiation, speed and duplex",
     "tuning eth2 --autoneg off --speed 1000 --duplex full",
     "ip",
     {kBadIfname, kSeveralSteps},
     tuning,
     tuning_defaults},
    {"conjoin",
     RD_CMD_CONJOIN,
     "add interfaces to a bond",
     "conjoin bond0 eth1 eth2",
     "ifenslave",
     {kBadIfname, {RD_RC_NO_RESOURCE, "the bond's settings could not be opened: is it a bond?"}, kSeveralSteps},
     conjoin},
    {"send-packet",
     RD_CMD_SEND_PACKET,
     "send the link-layer frame stored for an interface",
     "send-packet eth0",
     kNoTool,
     {kBadIfname,
      {RD_RC_NO_RESOURCE, "no frame of 64 to 1522 bytes is stored for it, or it could not be sent"},
      {RD_RC_NO_CHILD, "no such interface"}},
     send_packet},
};

} // namespace

Group link_commands()
{
    return {"Links", kCommands};
}
