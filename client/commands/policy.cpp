// Firewall, back channel and priorities.

#include "commands/group.h"

namespace
{

void firewall(CommandLine command, Request &request)
{
    FirewallRequest &record = request.frame.firewall;
    enum { kMdnsRules, kDedipv4, kUsbNat, kPing, kDpufilt };
    command
        .choice(
            "RULESET", record.ruleset,
            {{"mdns", kMdnsRules}, {"dedipv4", kDedipv4}, {"usb-nat", kUsbNat}, {"ping", kPing}, {"dpufilt", kDpufilt}},
            "which")
        .required();
    command.choice("ACTION", record.operation, {{"remove", 0}, {"apply", 1}}, "what to do").required();
    command.text("--interface IFNAME", record.ifname, "dedipv4: the interface");
    command.texts("--argument TEXT", record.argument, "dpufilt: up to four for the firewall script");
    command.finally([command, &request, &record] {
        command.no_use({"--interface"}, record.ruleset != kDedipv4, "only dedipv4 has a use for it");
        command.no_use({"--argument"}, record.ruleset != kDpufilt, "only dpufilt has a use for it");
        require(record.ruleset != kDedipv4 || record.ifname[0] != '\0', "--interface");
        if (record.ruleset != kUsbNat) {
            request.command.meanings.push_back({0, "the error log tells how the firewall script ended"});
        }
    });
}

void slbc(CommandLine command, Request &request)
{
    SlbcRequest &record = request.frame.slbc;
    command.choice("ACTION", record.operation, kDownUp, "set it up or tear it down").required();
    command.text("IFNAME", record.ifname, kIfname).required();
    command.text("--proxy ADDRESS", record.proxy, "let only this proxy through", ipv4_address);
    command.number("--topology-lldp NUMBER", record.topology_lldp, 0, INT32_MAX,
                   "1: without the final DROP rules; more: fewer rules still");
}

void bc_ip_rules(CommandLine command, Request &request)
{
    BcIpRulesRequest &record = request.frame.bc_ip_rules;
    command.text("IFNAME", record.ifname, "interface, or 'none'").required();
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
}

void bc_ip_rules_defaults(RequestFrame &frame)
{
    BcIpRulesRequest &record = frame.bc_ip_rules;
    for (auto *field : {&record.address, &record.netmask, &record.gateway, &record.dns}) {
        strcpy(*field, "none");
    }
    strcpy(record.table, "rt2");
}

void vlan_priority(CommandLine command, Request &request)
{
    command.text("IFNAME", request.frame.vlan_priority.ifname, "the VLAN interface", any_text, RD_IFNAME_SIZE - 1)
        .required();
    command.number("PRIORITY", request.frame.vlan_priority.priority, 0, 7, "the priority").required();
}

const Command kCommands[] = {
    {"firewall",
     RD_CMD_FIREWALL,
     "switch a firewall rule set",
     "firewall usb-nat apply",
     "iptables",
     {kBadIfname},
     firewall},
    {"slbc",
     RD_CMD_SLBC,
     "the back channel with firewall and DHCP client",
     "slbc up eth3 --proxy 192.168.1.5",
     "iptables",
     {kBadIfname, kSeveralSteps},
     slbc},
    {"bc-ip-rules",
     RD_CMD_BC_IP_RULES,
     "set the IP rules of the back channel",
     "bc-ip-rules eth3 --address 10.0.0.5 --netmask 255.255.255.0 --gateway 10.0.0.1 --option",
     "tendmoor_bc.sh",
     {kBadIfname},
     bc_ip_rules,
     bc_ip_rules_defaults},
    {"vlan-priority",
     RD_CMD_VLAN_PRIORITY,
     "set the 802.1p priority of all that leaves a VLAN interface",
     "vlan-priority bond0.100 5",
     "ip",
     {kBadIfname},
     vlan_priority},
};

} // namespace

Group policy_commands()
{
    return {"Firewall and policy", kCommands};
}
