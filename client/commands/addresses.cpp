// Static addresses, probes for them, and leases.

#include "commands/group.h"

namespace
{

void address(CommandLine command, Request &request)
{
    StaticAddrsRequest &record = request.frame.static_addrs;
    command.text("IFNAME", record.ifname, kIfname).required();
    command.value("--address ADDRESS/LENGTH", "the address", [&record](const std::string &value) {
        const Prefix prefix = split_prefix("--address", value);
        put("--address", record.address, prefix.address);
        record.prefix_len = prefix.length;
    });
    command.text("--gateway ADDRESS", record.gateway, "the default gateway", ip_address);
    command.flag("--dad", record.dad, "IPv4: probe for another holder of the address first").needs("--address");
    const auto take_routes = [&record](const std::vector<std::string> &words) {
        for (size_t i = 0; i < words.size(); i += 3) {
            StaticRouteEntry &entry = record.route[i / 3];
            const Prefix prefix = split_prefix("--route", words[i]);
            put("--route", entry.prefix, prefix.address);
            entry.prefix_len = prefix.length;
            put("--route", entry.router, words[i + 1]);
            put("--route", entry.lladdr, words[i + 2]);
            for (const std::string &problem :
                 {ipv6_address(prefix.address), ipv6_address(words[i + 1]), mac_address(words[i + 2])}) {
                if (!problem.empty()) {
                    refuse("--route", problem);
                }
            }
        }
    };
    command.values("--route PREFIX/LENGTH ROUTER MAC",
                   "IPv6: up to two routes, each with its router's address and MAC address", 3, 2, take_routes);
    command
        .choice("--autoconfiguration", record.autoconfig, kOffOn,
                "only switch IPv6 on, with router advertisements on or off")
        .excludes("--address")
        .excludes("--gateway")
        .excludes("--route");
    command.finally([command, &record] {
        record.autoconfig_only = command.has("--autoconfiguration") ? 1 : 0;
        const bool ipv4 = record.address[0] != '\0' && ipv4_address(record.address).empty();
        const bool ipv4_gateway = record.gateway[0] != '\0' && ipv4_address(record.gateway).empty();
        const bool ipv6 = record.address[0] != '\0' && !ipv4;
        const bool ipv6_gateway = record.gateway[0] != '\0' && !ipv4_gateway;
        const bool routes = record.route[0].router[0] != '\0';
        require(ipv4 || ipv6 || ipv4_gateway || ipv6_gateway || routes || record.autoconfig_only != 0,
                "--address, --gateway, --route or --autoconfiguration");
        record.ipv6 = ipv6 || ipv6_gateway || routes || record.autoconfig_only != 0 ? 1 : 0;
        if (record.ipv6 != 0 && (ipv4 || ipv4_gateway || record.dad != 0)) {
            refuse("one request sets addresses of one family, and only IPv4 is probed");
        }
    });
}

void dad(CommandLine command, Request &request)
{
    Ipv4DadRequest &record = request.frame.ipv4_dad;
    command.text("IFNAME", record.ifname, kIfname).required();
    command
        .value("ADDRESS/LENGTH", "the address to probe",
               [&record](const std::string &value) {
                   const Prefix prefix = split_prefix("ADDRESS/LENGTH", value);
                   if (prefix.ipv6) {
                       refuse("ADDRESS/LENGTH", "only IPv4 addresses are probed");
                   }
                   put("ADDRESS/LENGTH", record.ipaddr, prefix.address);
                   record.prefix_len = static_cast<uint32_t>(prefix.length);
               })
        .required();
}

void arping(CommandLine command, Request &request)
{
    ArpingRequest &record = request.frame.arping;
    command.text("IFNAME", record.ifname, kIfname).required();
    command.text("ADDRESS", record.address, "the address to announce", ipv4_address).required();
    command.text("GATEWAY", record.gateway, "the gateway, which the announcement is addressed to", ipv4_address)
        .required();
}

void dhcp_release(CommandLine command, Request &request)
{
    DhcpReleaseRequest &record = request.frame.dhcp_release;
    command.flag("--ipv4", record.dhcp4, "the IPv4 lease");
    command.flag("--ipv6", record.dhcp6, "the IPv6 lease");
    command.finally([&request, &record] {
        require(record.dhcp4 + record.dhcp6 != 0, "--ipv4 or --ipv6");
        if (record.dhcp4 + record.dhcp6 == 2) {
            request.command.tool = "dhclient, the statuses of its two runs combined,";
        }
    });
}

const Command kCommands[] = {
    {"address",
     RD_CMD_STATIC_ADDRS,
     "set static address, gateway and routes of one family",
     "address eth0 --address 192.168.1.10/24 --gateway 192.168.1.1 --dad",
     "ip",
     {kSeveralSteps},
     address},
    {"dad",
     RD_CMD_IPV4_DAD,
     "probe for another holder of an IPv4 address, and remove it if there is one",
     "dad eth0 192.168.1.10/24",
     "the probe was answered or failed, and ip",
     {{RD_RC_OK, "a conflict, if there was one, is told by /run/q7net/dhcp/ipv4_dad_conflict"}, kBadIfname},
     dad},
    {"arping",
     RD_CMD_ARPING,
     "announce an IPv4 address by ARP",
     "arping eth0 192.168.1.10 192.168.1.1",
     "arping",
     {{RD_RC_OK, "it was started; nobody waits for it"}, kBadIfname},
     arping},
    {"dhcp-release", RD_CMD_DHCP_RELEASE, "release DHCP leases", "dhcp-release --ipv4", "dhclient", {}, dhcp_release},
};

} // namespace

Group address_commands()
{
    return {"Addresses", kCommands};
}
