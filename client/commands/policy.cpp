// Firewall, back channel and priorities.

#include "commands/group.h"

namespace
{

void check_firewall(const CommandLine &command, const FirewallRequest &record)
{
    command.no_use({"--interface"}, record.ruleset != RD_RULESET_DEDIPV4, "only dedipv4 has a use for it");
    command.no_use({"--argument"}, record.ruleset != RD_RULESET_DPUFILT, "only dpufilt has a use for it");
    require(record.ruleset != RD_RULESET_DEDIPV4 || record.ifname[0] != '\0', "--interface");
}

const Command kCommands[] = {
    {
        COMMAND(FIREWALL),
        .summary = "switch a firewall rule set",
        .example = "usb-nat apply",
        .add_options =
            [](CommandLine &command, Request &request) {
                FirewallRequest &record = request.frame.firewall;
                command
                    .choice("RULESET", record.ruleset,
                            {{"mdns", RD_RULESET_MDNS},
                             {"dedipv4", RD_RULESET_DEDIPV4},
                             {"usb-nat", RD_RULESET_USB_NAT},
                             {"ping", RD_RULESET_PING},
                             {"dpufilt", RD_RULESET_DPUFILT}},
                            "which")
                    .required();
                command
                    .choice("ACTION", record.operation, {{"remove", RD_FIREWALL_REMOVE}, {"apply", RD_FIREWALL_APPLY}},
                            "what to do")
                    .required();
                command.text("--interface IFNAME", record.ifname, "dedipv4: the interface");
                command.texts("--argument TEXT", record.argument, "dpufilt: up to four for the firewall script");
                command.finally([&command, &record] { check_firewall(command, record); });
            },
    },
    {
        COMMAND(SLBC),
        .summary = "the back channel with firewall and DHCP client",
        .example = "up eth3 --proxy 192.168.1.5",
        .add_options =
            [](CommandLine &command, Request &request) {
                SlbcRequest &record = request.frame.slbc;
                command
                    .choice("ACTION", record.operation, {{"down", RD_SLBC_TEAR_DOWN}, {"up", RD_SLBC_SET_UP}},
                            "set it up or tear it down")
                    .required();
                command.ifname(record.ifname);
                command.text("--proxy ADDRESS", record.proxy, "let only this proxy through", ipv4_address);
                command.number("--topology-lldp NUMBER", record.topology_lldp, 0, INT32_MAX,
                               "1: without the final DROP rules; more: fewer rules still");
            },
    },
    {
        COMMAND(BC_IP_RULES),
        .summary = "set the IP rules of the back channel",
        .example = "eth3 --address 10.0.0.5 --netmask 255.255.255.0 --gateway 10.0.0.1 --option",
        .set_defaults =
            [](RequestFrame &frame) {
                BcIpRulesRequest &record = frame.bc_ip_rules;
                for (auto *field : {&record.address, &record.netmask, &record.gateway, &record.dns}) {
                    strcpy(*field, "none");
                }
                strcpy(record.table, "rt2");
            },
        .add_options =
            [](CommandLine &command, Request &request) {
                BcIpRulesRequest &record = request.frame.bc_ip_rules;
                command.ifname(record.ifname, "interface, or 'none'");
                command.text("--address ADDRESS", record.address, "IPv4 [none]", ipv4_address_or_none);
                command.text("--netmask MASK", record.netmask, "[none]", ipv4_address_or_none);
                command.text("--gateway ADDRESS", record.gateway, "[none]", ipv4_address_or_none);
                command.text("--dns ADDRESS", record.dns, "[none]", ipv4_address_or_none);
                command.text("--table NAME", record.table, "routing table, whose name begins with rt2 [rt2]");
                command.flag("--option", record.option, "hands 1 to the script, else 0");
                command.text("--mac MAC", record.ded_mac, "of the dedicated interface", mac_address);
                command.finally([&record] {
                    if (strncmp(record.table, "rt2", 3) != 0) {
                        refuse("--table", "its name must begin with rt2");
                    }
                });
            },
    },
    {
        COMMAND(VLAN_PRIORITY),
        .summary = "set the 802.1p priority of all that leaves a VLAN interface",
        .example = "bond0.100 5",
        .add_options =
            [](CommandLine &command, Request &request) {
                VlanPriorityRequest &record = request.frame.vlan_priority;
                command.ifname(record.ifname, "the VLAN interface");
                command.number("PRIORITY", record.priority, 0, 7, "the priority").required();
            },
    },
};

} // namespace

Group policy_commands()
{
    return {"Firewall and policy", kCommands};
}
