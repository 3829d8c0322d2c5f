// Browsing for services.

#include "commands/group.h"

namespace
{

void mdns(CommandLine command, Request &request)
{
    MdnsBrowseRequest &record = request.frame.mdns_browse;
    constexpr size_t kLongestType = 31; // what the daemon looks at
    command.choice("ACTION", record.start, {{"stop", 0}, {"start", 1}}, "what to do").required();
    command.text("TYPE", record.service_type, "the service type", any_text, kLongestType).required();
    command.interface_index("--interface IFNAME", record.interface_index, "to browse on, or 'all'").required();
    command.flag("--firewall", record.firewall, "switch the firewall rule set mdns too");
}

void ngm_debug(CommandLine command, Request &request)
{
    NgmDebugRequest &record = request.frame.ngm_debug;
    command.interface_index("--interface IFNAME", record.interface_index, "to browse on, or 'all'").required();
    command.texts("--router ADDRESS", record.router, "up to four to ping", ipv6_address,
                  [&record](size_t count) { record.count = static_cast<int32_t>(count); });
}

const Command kCommands[] = {
    {"mdns",
     RD_CMD_MDNS_BROWSE,
     "start or stop an mDNS browse",
     "mdns start _zerotouchprovsrv._tcp --interface usbpt",
     kNoTool,
     {{RD_RC_OK, "the error log tells what becomes of the browse"}},
     mdns},
    {"ngm-debug",
     RD_CMD_NGM_DEBUG,
     "ping routers and browse for three seconds; the error log tells what was found",
     "ngm-debug --interface usbpt --router fe80::1",
     "ping",
     {{RD_RC_OK, "the error log tells what was found"}},
     ngm_debug},
};

} // namespace

Group mdns_commands()
{
    return {"mDNS", kCommands};
}
