// Services, auto-configuration and names.

#include "commands/group.h"

namespace
{

const Meaning kLongName = {RD_RC_TOO_LONG, "name is longer than 257 characters"};
const Meaning kBadName = {RD_RC_INVALID, "name holds a character that is not allowed"};
const Meaning kKernelRefused = {RD_RC_NO_CHILD, "the kernel did not take the name, which it limits to 64 characters"};

void service(CommandLine command, Request &request)
{
    command.choice("ACTION", request.frame.service.action, {{"stop", 0}, {"start", 1}, {"restart", 2}}, "what to do")
        .required();
    constexpr int kKxDhclient = 5; // not a unit: run by the daemon itself
    const Words services = {{"avahi-daemon", 0},    {"lldpd-topology", 1}, {"llmnrd", 2},
                            {"network", 3},         {"nodediscd", 4},      {"kx-dhclient", kKxDhclient},
                            {"radvd", 6},           {"dhclient", 7},       {"dhclient6", 8},
                            {"dhclient6s", 9},      {"dhcpd6", 10},        {"q7mdnspublish", 11},
                            {"wpa_supplicant", 12}, {"ddnsreg", 13}};
    command.choice("SERVICE", request.frame.service.service, services, "which").required();
    command.flag("--wait", request.frame.header.wait, "answer when it is done, with how it ended");
    command.finally([&request] {
        const auto [which, action] = request.frame.service;
        if (which == kKxDhclient) {
            request.command.tool = "dhclient";
        }
        const bool always_waits = which == kKxDhclient && action == 0;
        if (request.frame.header.wait == 0 && !always_waits) {
            request.command.meanings.push_back({0, "it was started; --wait tells how it ends"});
        }
    });
}

void autoconfig(CommandLine command, Request &request)
{
    command.text("ARGUMENT", request.frame.autoconfig.autoconf_arg,
                 "handed to the script, which is not waited for; 'disable' stops the agent instead");
}

void name(CommandLine command, Request &request)
{
    command.text("NAME", request.frame.hostname.name, "the name").required();
}

const Command kCommands[] = {
    {"service",
     RD_CMD_SERVICE,
     "start, stop or restart a network service",
     "service restart network --wait",
     "systemctl",
     {},
     service},
    {"autoconfig",
     RD_CMD_AUTOCONFIG,
     "run system auto-configuration, or stop its agent",
     "autoconfig disable",
     "systemautoconf.sh",
     {{RD_RC_OK, "nobody waits for the script; the error log tells of the agent"},
      {RD_RC_NO_CHILD, "the agent could not be killed, or the script not be started"}},
     autoconfig},
    {"hostname",
     RD_CMD_HOSTNAME,
     "set the host name",
     "hostname ctl-01",
     kNoTool,
     {kLongName, kBadName, kKernelRefused},
     name},
    {"domainname",
     RD_CMD_DOMAINNAME,
     "set the domain name",
     "domainname lab.example",
     kNoTool,
     {kLongName, kBadName, kKernelRefused},
     name},
    {"hosts-file",
     RD_CMD_HOSTS_FILE,
     "rewrite /etc/hosts for a host name",
     "hosts-file ctl-01",
     kNoTool,
     {kLongName, kBadName, {RD_RC_NO_RESOURCE, "/etc/hosts could not be opened"}},
     name},
};

} // namespace

Group system_commands()
{
    return {"Services and names", kCommands};
}
