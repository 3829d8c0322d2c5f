// Browsing for services.

#include "commands/group.h"

namespace
{

const Command kCommands[] = {
    {
        COMMAND(MDNS_BROWSE),
        .summary = "start or stop an mDNS browse",
        .example = "start _zerotouchprovsrv._tcp --interface usbpt",
        .add_options =
            [](CommandLine &command, Request &request) {
                MdnsBrowseRequest &record = request.frame.mdns_browse;
                constexpr size_t kLongestType = 31; // what the daemon looks at
                command
                    .choice("ACTION", record.start, {{"stop", RD_MDNS_BROWSE_STOP}, {"start", RD_MDNS_BROWSE_START}},
                            "what to do")
                    .required();
                command.text("TYPE", record.service_type, "the service type", any_text, kLongestType).required();
                command.interface_index("--interface IFNAME", record.interface_index, "to browse on, or 'all'")
                    .required();
                command.flag("--firewall", record.firewall, "switch the firewall rule set mdns too");
            },
    },
    {
        COMMAND(NGM_DEBUG),
        .summary = "ping routers and browse for three seconds; the error log tells what was found",
        .example = "--interface usbpt --router fe80::1",
        .add_options =
            [](CommandLine &command, Request &request) {
                NgmDebugRequest &record = request.frame.ngm_debug;
                command.interface_index("--interface IFNAME", record.interface_index, "to browse on, or 'all'")
                    .required();
                command.texts("--router ADDRESS", record.router, "up to four to ping", ipv6_address, &record.count);
            },
    },
};

} // namespace

Group mdns_commands()
{
    return {"mDNS", kCommands};
}
