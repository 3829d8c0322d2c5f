// Services, auto-configuration and names.

#include "commands/group.h"

namespace
{

constexpr Word kServices[] = {
    {"avahi-daemon", RD_SERVICE_AVAHI_DAEMON},
    {"lldpd-topology", RD_SERVICE_LLDPD_TOPOLOGY},
    {"llmnrd", RD_SERVICE_LLMNRD},
    {"network", RD_SERVICE_NETWORK},
    {"nodediscd", RD_SERVICE_NODEDISCD},
    {"kx-dhclient", RD_SERVICE_KX_DHCLIENT},
    {"radvd", RD_SERVICE_RADVD},
    {"dhclient", RD_SERVICE_DHCLIENT},
    {"dhclient6", RD_SERVICE_DHCLIENT6},
    {"dhclient6s", RD_SERVICE_DHCLIENT6S},
    {"dhcpd6", RD_SERVICE_DHCPD6},
    {"q7mdnspublish", RD_SERVICE_Q7MDNSPUBLISH},
    {"wpa_supplicant", RD_SERVICE_WPA_SUPPLICANT},
    {"ddnsreg", RD_SERVICE_DDNSREG},
};

void add_service(CommandLine &command, Request &request)
{
    ServiceRequest &record = request.frame.service;
    command
        .choice("ACTION", record.action,
                {{"stop", RD_SERVICE_STOP}, {"start", RD_SERVICE_START}, {"restart", RD_SERVICE_RESTART}}, "what to do")
        .required();
    command.choice("SERVICE", record.service, kServices, "which").required();
    command.flag("--wait", request.frame.header.wait, "answer when it is done, with how it ended");
}

void add_name(CommandLine &command, Request &request)
{
    command.text("NAME", request.frame.hostname.name, "the name").required();
}

const Command kCommands[] = {
    {
        COMMAND(SERVICE),
        .summary = "start, stop or restart a network service",
        .example = "restart network --wait",
        .add_options = add_service,
    },
    {
        COMMAND(AUTOCONFIG),
        .summary = "run system auto-configuration, or stop its agent",
        .example = "disable",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.text("ARGUMENT", request.frame.autoconfig.autoconf_arg,
                             "handed to the script, which is not waited for; 'disable' stops the agent instead");
            },
    },
    {
        COMMAND(HOSTNAME),
        .summary = "set the host name",
        .example = "ctl-01",
        .add_options = add_name,
    },
    {
        COMMAND(DOMAINNAME),
        .summary = "set the domain name",
        .example = "lab.example",
        .add_options = add_name,
    },
    {
        COMMAND(HOSTS_FILE),
        .summary = "rewrite /etc/hosts for a host name",
        .example = "ctl-01",
        .add_options = add_name,
    },
};

} // namespace

Group system_commands()
{
    return {"Services and names", kCommands};
}
