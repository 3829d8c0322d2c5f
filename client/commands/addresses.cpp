// Static addresses, probes for them, and leases.

#include "commands/group.h"

namespace
{

// PREFIX/LENGTH ROUTER MAC of each route.
void take_routes(StaticAddrsRequest &record, const std::vector<std::string> &words)
{
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
}

// Sets the family that the addresses are of. Throws when they are of both, or there are none.
void decide_family(StaticAddrsRequest &record)
{
    bool ipv4 = record.dad != 0; // only IPv4 addresses are probed
    bool ipv6 = record.autoconfig_only != 0 || record.route[0].router[0] != '\0';
    for (const std::string address : {record.address, record.gateway}) {
        (ipv4_address(address).empty() ? ipv4 : ipv6) |= !address.empty();
    }
    require(ipv4 || ipv6, "--address, --gateway, --route or --autoconfiguration");
    if (ipv4 && ipv6) {
        refuse("one request sets addresses of one family, and only IPv4 is probed");
    }
    record.ipv6 = ipv6 ? 1 : 0;
}

void add_static_addrs(CommandLine &command, Request &request)
{
    StaticAddrsRequest &record = request.frame.static_addrs;
    command.ifname(record.ifname);
    command.value("--address ADDRESS/LENGTH", "the address", [&record](const std::string &value) {
        const Prefix prefix = split_prefix("--address", value);
        put("--address", record.address, prefix.address);
        record.prefix_len = prefix.length;
    });
    command.text("--gateway ADDRESS", record.gateway, "the default gateway", ip_address);
    command.flag("--dad", record.dad, "IPv4: probe for another holder of the address first").needs("--address");
    command.values("--route PREFIX/LENGTH ROUTER MAC",
                   "IPv6: up to two routes, each with its router's address and MAC address", 3, 2,
                   [&record](const std::vector<std::string> &words) { take_routes(record, words); });
    command
        .choice("--autoconfiguration", record.autoconfig, kOffOn,
                "only switch IPv6 on, with router advertisements on or off")
        .excludes("--address")
        .excludes("--gateway")
        .excludes("--route");
    command.finally([&command, &record] {
        record.autoconfig_only = command.has("--autoconfiguration") ? 1 : 0;
        decide_family(record);
    });
}

const Command kCommands[] = {
    {
        COMMAND(STATIC_ADDRS),
        .summary = "set static address, gateway and routes of one family",
        .example = "eth0 --address 192.168.1.10/24 --gateway 192.168.1.1 --dad",
        .add_options = add_static_addrs,
    },
    {
        COMMAND(IPV4_DAD),
        .summary = "probe for another holder of an IPv4 address, and remove it if there is one",
        .example = "eth0 192.168.1.10/24",
        .add_options =
            [](CommandLine &command, Request &request) {
                Ipv4DadRequest &record = request.frame.ipv4_dad;
                command.ifname(record.ifname);
                const auto take = [&record](const std::string &value) {
                    const Prefix prefix = split_prefix("ADDRESS/LENGTH", value);
                    if (prefix.ipv6) {
                        refuse("ADDRESS/LENGTH", "only IPv4 addresses are probed");
                    }
                    put("ADDRESS/LENGTH", record.ipaddr, prefix.address);
                    record.prefix_len = static_cast<uint32_t>(prefix.length);
                };
                command.value("ADDRESS/LENGTH", "the address to probe", take).required();
            },
    },
    {
        COMMAND(ARPING),
        .summary = "announce an IPv4 address by ARP",
        .example = "eth0 192.168.1.10 192.168.1.1",
        .add_options =
            [](CommandLine &command, Request &request) {
                ArpingRequest &record = request.frame.arping;
                command.ifname(record.ifname);
                command.text("ADDRESS", record.address, "the address to announce", ipv4_address).required();
                command
                    .text("GATEWAY", record.gateway, "the gateway, which the announcement is addressed to",
                          ipv4_address)
                    .required();
            },
    },
    {
        COMMAND(DHCP_RELEASE),
        .summary = "release DHCP leases",
        .example = "--ipv4",
        .add_options =
            [](CommandLine &command, Request &request) {
                DhcpReleaseRequest &record = request.frame.dhcp_release;
                command.flag("--ipv4", record.dhcp4, "the IPv4 lease");
                command.flag("--ipv6", record.dhcp6, "the IPv6 lease");
                command.finally([&record] { require(record.dhcp4 + record.dhcp6 != 0, "--ipv4 or --ipv6"); });
            },
    },
};

} // namespace

Group address_commands()
{
    return {"Addresses", kCommands};
}
