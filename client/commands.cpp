// The commands' options. Each function binds those of one command to its record.

#include "commands.h"

#include "catalogue.h"
#include "options.h"

#include <cstring>

namespace
{

using Words = std::vector<std::pair<std::string, int>>;
const Words kDownUp = {{"down", 0}, {"up", 1}};
const Words kOffOn = {{"off", 0}, {"on", 1}};
const Words kHalfFull = {{"half", 0}, {"full", 1}};
const Words kSpeeds = {{"10", 10},       {"100", 100},     {"1000", 1000},   {"2500", 2500},   {"10000", 10000},
                       {"20000", 20000}, {"25000", 25000}, {"40000", 40000}, {"50000", 50000}, {"100000", 100000}};
constexpr int kLeaveAlone = -1;
constexpr const char *kIfname = "interface";

// Throws when one of these options was given though it will not be looked at: whoever gives it expects something.
void no_use(const CLI::App &command, const std::vector<std::string> &options, bool ignored, const std::string &why)
{
    for (const std::string &option : options) {
        if (ignored && command.count(option) != 0) {
            refuse(option, why);
        }
    }
}

void require(bool given, const std::string &what)
{
    if (!given) {
        throw CLI::RequiredError(what);
    }
}

void autoconfig(CLI::App &command, Request &request)
{
    text(command, "ARGUMENT", request.frame.autoconfig.autoconf_arg,
         "handed to the script, which is not waited for; 'disable' stops the agent instead");
}

void usbnic(CLI::App &command, Request &request)
{
    UsbnicRequest &record = request.frame.usbnic;
    enum { kDown, kUp, kRenew, kCreate };
    choice(command, "ACTION", record.action, {{"down", kDown}, {"up", kUp}, {"renew", kRenew}, {"create", kCreate}},
           "take it down, bring it up, renew its global IPv6 addresses, or create the gadget")
        ->required();
    text(command, "--host-mac MAC", record.host_mac, "create: of the host's end", mac_address);
    text(command, "--device-mac MAC", record.device_mac, "create and up: of the controller's end", mac_address);
    flag(command, "--gadget-flag", record.gadget_flag, "create: hands 1 to the gadget script, else 0");
    flag(command, "--dhcp-server", record.dhcp_server, "up and down: start the DHCP server, else it is stopped");
    const auto take = [&record](const std::vector<std::string> &addresses) {
        int length = -1; // of the IPv4 addresses
        for (size_t i = 0; i < addresses.size(); i++) {
            const Prefix prefix = split_prefix("--address", addresses[i]);
            if (prefix.ipv6 && prefix.length != 64) {
                refuse("--address", "IPv6 addresses get the prefix length 64 here");
            }
            if (!prefix.ipv6 && length != -1 && length != prefix.length) {
                refuse("--address", "IPv4 addresses share one prefix length");
            }
            put("--address", record.address[i], prefix.address);
            length = prefix.ipv6 ? length : prefix.length;
        }
        record.prefix_length = static_cast<uint32_t>(std::max(length, 0));
    };
    command.add_option_function<std::vector<std::string>>("--address", take, "up to three to set on usbpt")
        ->option_text("ADDRESS/LENGTH ...")
        ->expected(1, 3);
    command.callback([&command, &request] {
        const UsbnicRequest &given = request.frame.usbnic;
        no_use(command, {"--host-mac", "--gadget-flag"}, given.action != kCreate, "only create has a use for it");
        no_use(command, {"--device-mac", "--dhcp-server"}, given.action == kRenew, "renew has no use for it");
        no_use(command, {"--address", "--dhcp-server"}, given.action == kCreate, "create has no use for it");
        require(given.action != kCreate || given.host_mac[0] != '\0', "--host-mac");
        require((given.action != kCreate && given.action != kUp) || given.device_mac[0] != '\0', "--device-mac");
        if (given.action == kCreate) {
            request.command.tool = "configfs_gadget_usbpt.sh";
        } else if (given.action == kUp) {
            request.command.tool = given.dhcp_server != 0 ? "udhcpd" : "kill";
        }
    });
}

void mgmt(CLI::App &command, Request &request)
{
    MgmtReconfigRequest &record = request.frame.mgmt;
    enum { kIpv6, kRebuild, kLink };
    choice(command, "ACTION", record.action, {{"rebuild", kRebuild}, {"ipv6", kIpv6}, {"link", kLink}},
           "build it anew, reapply its IPv6 settings, or only what all do: link state, MTU, hop limit, and the static "
           "addresses go")
        ->required();
    text(command, "IFNAME", record.mif, "the management interface")->required();
    texts(command, "--lower IFNAME", record.lwr, "rebuild: up to three below it");
    flag(command, "--macvlan", record.macvlan, "rebuild: a passthru macvlan on the first, instead of a bond of all");
    text(command, "--mac MAC", record.mac, "rebuild: of the bond", mac_address);
    number(command, "--vlan ID", record.vlan, 1, 4094, "a VLAN on top carries the addresses");
    number(command, "--mtu BYTES", record.mtu, 68, 9999, "[1500]");
    choice(command, "--ipv6", record.i6_ena, kOffOn, "[on]");
    choice(command, "--router-advertisements", record.i6_auto, kOffOn, "accept them [on]");
    choice(command, "--address-generation", record.stabpriv, {{"leave", kLeaveAlone}, {"eui64", 0}, {"stable", 2}},
           "of IPv6 interface identifiers [leave]");
    number(command, "--hop-limit HOPS", record.hoplimit, 1, 255, "of IPv6");
    choice(command, "--link", record.mif_linkstate, kDownUp, "state of the management interface [up]");
    text(command, "--dedicated IFNAME", record.ded, "an interface whose link follows --dedicated-link");
    text(command, "--dedicated2 IFNAME", record.ded2, "another")->needs(command.get_option("--dedicated"));
    choice(command, "--dedicated-link", record.ded_linkstate, kDownUp, "[up]");
    command.callback([&command, &record] {
        no_use(command, {"--lower", "--macvlan", "--mac"}, record.action != kRebuild, "only rebuild has a use for it");
        no_use(command, {"--mac"}, record.macvlan != 0, "a macvlan has that of the interface below it");
        require(record.action != kRebuild || record.lwr[0][0] != '\0', "--lower");
        require(record.action != kRebuild || record.macvlan != 0 || record.mac[0] != '\0', "--mac or --macvlan");
        if (record.macvlan != 0 && record.lwr[1][0] != '\0') {
            refuse("--lower", "a macvlan has one interface below it");
        }
        const std::string vlan = "." + std::to_string(record.vlan);
        if (record.vlan != 0 && strlen(record.mif) + vlan.size() >= sizeof record.mif) {
            refuse("--vlan", "'" + (record.mif + vlan) + "' is longer than 15 characters");
        }
    });
}

void service(CLI::App &command, Request &request)
{
    choice(command, "ACTION", request.frame.service.action, {{"stop", 0}, {"start", 1}, {"restart", 2}}, "what to do")
        ->required();
    constexpr int kKxDhclient = 5; // not a unit: run by the daemon itself
    const Words services = {{"avahi-daemon", 0},    {"lldpd-topology", 1}, {"llmnrd", 2},
                            {"network", 3},         {"nodediscd", 4},      {"kx-dhclient", kKxDhclient},
                            {"radvd", 6},           {"dhclient", 7},       {"dhclient6", 8},
                            {"dhclient6s", 9},      {"dhcpd6", 10},        {"q7mdnspublish", 11},
                            {"wpa_supplicant", 12}, {"ddnsreg", 13}};
    choice(command, "SERVICE", request.frame.service.service, services, "which", [&request] {
        if (request.frame.service.service == kKxDhclient) {
            request.command.tool = "dhclient";
        }
    })->required();
    flag(command, "--wait", request.frame.header.wait, "answer when it is done, with how it ended");
    command.callback([&request] {
        const auto [which, action] = request.frame.service;
        const bool always_waits = which == kKxDhclient && action == 0;
        if (request.frame.header.wait == 0 && !always_waits) {
            request.command.meanings.push_back({0, "it was started; --wait tells how it ends"});
        }
    });
}

void firewall(CLI::App &command, Request &request)
{
    FirewallRequest &record = request.frame.firewall;
    enum { kMdnsRules, kDedipv4, kUsbNat, kPing, kDpufilt };
    choice(command, "RULESET", record.ruleset,
           {{"mdns", kMdnsRules}, {"dedipv4", kDedipv4}, {"usb-nat", kUsbNat}, {"ping", kPing}, {"dpufilt", kDpufilt}},
           "which")
        ->required();
    choice(command, "ACTION", record.operation, {{"remove", 0}, {"apply", 1}}, "what to do")->required();
    text(command, "--interface IFNAME", record.ifname, "dedipv4: the interface");
    texts(command, "--argument TEXT", record.argument, "dpufilt: up to four for the firewall script");
    command.callback([&command, &request, &record] {
        no_use(command, {"--interface"}, record.ruleset != kDedipv4, "only dedipv4 has a use for it");
        no_use(command, {"--argument"}, record.ruleset != kDpufilt, "only dpufilt has a use for it");
        require(record.ruleset != kDedipv4 || record.ifname[0] != '\0', "--interface");
        if (record.ruleset != kUsbNat) {
            request.command.meanings.push_back({0, "the error log tells how the firewall script ended"});
        }
    });
}

void conjoin(CLI::App &command, Request &request)
{
    text(command, "BOND", request.frame.conjoin.bond, "the bond")->required();
    texts(command, "LOWER", request.frame.conjoin.lower, "up to three; the first becomes primary and active")
        ->required();
}

void link(CLI::App &command, Request &request)
{
    text(command, "IFNAME", request.frame.link.ifname, kIfname)->required();
    choice(command, "STATE", request.frame.link.state, kDownUp, "the state to set")->required();
}

void name(CLI::App &command, Request &request)
{
    text(command, "NAME", request.frame.netname.name, "the name")->required();
}

void arping(CLI::App &command, Request &request)
{
    ArpingRequest &record = request.frame.arping;
    text(command, "IFNAME", record.ifname, kIfname)->required();
    text(command, "ADDRESS", record.address, "the address to announce", ipv4_address)->required();
    text(command, "GATEWAY", record.gateway, "the gateway, which the announcement is addressed to", ipv4_address)
        ->required();
}

void bc_ip_rules(CLI::App &command, Request &request)
{
    BcIpRulesRequest &record = request.frame.bc_ip_rules;
    text(command, "IFNAME", record.ifname, "interface, or 'none'")->required();
    text(command, "--address ADDRESS", record.address, "IPv4 [none]", ipv4_address_or_none);
    text(command, "--netmask MASK", record.netmask, "[none]", ipv4_address_or_none);
    text(command, "--gateway ADDRESS", record.gateway, "[none]", ipv4_address_or_none);
    text(command, "--dns ADDRESS", record.dns, "[none]", ipv4_address_or_none);
    text(command, "--table NAME", record.table, "routing table, whose name begins with rt2 [rt2]");
    flag(command, "--option", record.option, "hands 1 to the script, else 0");
    text(command, "--mac MAC", record.ded_mac, "of the dedicated interface", mac_address);
    command.callback([&record] {
        if (strncmp(record.table, "rt2", 3) != 0) {
            refuse("--table", "its name must begin with rt2");
        }
    });
}

void vlan_priority(CLI::App &command, Request &request)
{
    text(command, "IFNAME", request.frame.vlan_priority.ifname, "the VLAN interface", any_text, RD_IFNAME_SIZE - 1)
        ->required();
    number(command, "PRIORITY", request.frame.vlan_priority.priority, 0, 7, "the priority")->required();
}

void slbc(CLI::App &command, Request &request)
{
    SlbcRequest &record = request.frame.slbc;
    choice(command, "ACTION", record.operation, kDownUp, "set it up or tear it down")->required();
    text(command, "IFNAME", record.ifname, kIfname)->required();
    text(command, "--proxy ADDRESS", record.proxy, "let only this proxy through", ipv4_address);
    number(command, "--topology-lldp NUMBER", record.topology_lldp, 0, INT32_MAX,
           "1: without the final DROP rules; more: fewer rules still");
}

void send_packet(CLI::App &command, Request &request)
{
    text(command, "IFNAME", request.frame.send_packet.ifname, kIfname, any_text, RD_IFNAME_SIZE - 1)->required();
}

void dad(CLI::App &command, Request &request)
{
    DadRequest &record = request.frame.dad;
    text(command, "IFNAME", record.ifname, kIfname)->required();
    add(command, "ADDRESS/LENGTH", "the address to probe", [&record](const std::string &value) {
        const Prefix prefix = split_prefix("ADDRESS/LENGTH", value);
        if (prefix.ipv6) {
            refuse("ADDRESS/LENGTH", "only IPv4 addresses are probed");
        }
        put("ADDRESS/LENGTH", record.ipaddr, prefix.address);
        record.prefix_len = static_cast<uint32_t>(prefix.length);
    })->required();
}

void init(CLI::App &command, Request &request)
{
    InitRequest &record = request.frame.init;
    flag(command, "--modular", record.is_modular, "the controller sits in a slot: build the internal VLANs");
    flag(command, "--ngm", record.is_ngm, "internal link is eth0 with IPv6, else eth3 with IPv4");
    number(command, "--slot NUMBER", record.slot, 1, 254, "the slot");
    text(command, "--mac MAC", record.macaddress, "the controller's, on a modular system", mac_address);
    flag(command, "--eth0", record.init_eth0, "IPv6 off on eth0");
    flag(command, "--eth3", record.init_eth3, "IPv6 off on eth3");
    flag(command, "--front-dedicated", record.init_frded, "IPv6 off on eth1");
    text(command, "--kx-interface IFNAME", record.kx_ifname, "set up the KX management interface");
    text(command, "--kx-mac MAC", record.kx_mac, "its MAC address", mac_address)
        ->needs(command.get_option("--kx-interface"));
    text(command, "--seed-a TEXT", record.secret_seed_a, "of the secret that stable IPv6 addresses are made from");
    text(command, "--seed-b TEXT", record.secret_seed_b, "of the same");
    command.callback([&record] {
        constexpr size_t kSeed = 25; // characters of both that count
        if (strlen(record.secret_seed_a) + strlen(record.secret_seed_b) > kSeed) {
            refuse("--seed-b", "the two seeds are longer than 25 characters together, and the rest would not count");
        }
        record.init_kx = record.kx_ifname[0] != '\0' ? 1 : 0;
        require(record.init_kx == 0 || record.kx_mac[0] != '\0', "--kx-mac");
        require(record.is_modular == 0 || record.macaddress[0] != '\0', "--mac");
        require(record.is_modular == 0 || record.is_ngm != 0 || record.slot != 0, "--slot");
    });
}

void sideband(CLI::App &command, Request &request)
{
    SidebandRequest &record = request.frame.sideband;
    choice(command, "ACTION", record.operation, {{"delete", 0}, {"add", 1}}, "what to do")->required();
    flag(command, "--macv2", record.macv2, "the one on eth2");
    flag(command, "--macv3", record.macv3, "the one on eth3");
    flag(command, "--macve0", record.macve0, "the one on usbe0");
    text(command, "--macv2-mac MAC", record.macv2_mac, "its MAC address; without one it is a passthru macvlan",
         mac_address)
        ->needs(command.get_option("--macv2"));
    text(command, "--macv3-mac MAC", record.macv3_mac, "the same", mac_address)->needs(command.get_option("--macv3"));
    command.callback(
        [&record] { require(record.macv2 + record.macv3 + record.macve0 != 0, "--macv2, --macv3 or --macve0"); });
}

void reset_mgmt(CLI::App &command, Request &request)
{
    ResetMgmtRequest &record = request.frame.reset_mgmt;
    text(command, "IFNAME", record.ifname, "the management interface")->required();
    text(command, "--mac MAC", record.mac, "to give to eth3 and eth2", mac_address);
    flag(command, "--macsec", record.macsec, "delete macsec0 too");
    command.callback([&record] { record.set_mac = record.mac[0] != '\0' ? 1 : 0; });
}

void mif_flush(CLI::App &command, Request &request)
{
    text(command, "IFNAME", request.frame.mif_flush.ifname, "the management interface", any_text, RD_IFNAME_SIZE - 1)
        ->required();
    flag(command, "--ipv6-default-route", request.frame.mif_flush.ipv6_default_route, "flush that too");
}

void dhcp_release(CLI::App &command, Request &request)
{
    DhcpReleaseRequest &record = request.frame.dhcp_release;
    flag(command, "--ipv4", record.dhcp4, "the IPv4 lease");
    flag(command, "--ipv6", record.dhcp6, "the IPv6 lease");
    command.callback([&request, &record] {
        require(record.dhcp4 + record.dhcp6 != 0, "--ipv4 or --ipv6");
        if (record.dhcp4 + record.dhcp6 == 2) {
            request.command.tool = "dhclient, the statuses of its two runs combined,";
        }
    });
}

void ngm_debug(CLI::App &command, Request &request)
{
    RouterProbeRequest &record = request.frame.ngm_debug;
    interface_index(command, "--interface IFNAME", record.interface_index, "to browse on, or 'all'")->required();
    texts(command, "--router ADDRESS", record.router, "up to four to ping", ipv6_address,
          [&record](size_t count) { record.count = static_cast<int32_t>(count); });
}

void mdns(CLI::App &command, Request &request)
{
    MdnsBrowseServiceRequest &record = request.frame.mdns_browse;
    constexpr size_t kLongestType = 31; // what the daemon looks at
    choice(command, "ACTION", record.start, {{"stop", 0}, {"start", 1}}, "what to do")->required();
    text(command, "TYPE", record.service_type, "the service type", any_text, kLongestType)->required();
    interface_index(command, "--interface IFNAME", record.interface_index, "to browse on, or 'all'")->required();
    flag(command, "--firewall", record.firewall, "switch the firewall rule set mdns too");
}

void smartnic(CLI::App &command, Request &request)
{
    SmartnicRequest &record = request.frame.smartnic;
    choice(command, "ACTION", record.mode, kDownUp, "set it up or tear it down")->required();
    text(command, "PHYSICAL", record.physical, "the physical interface", any_text, RD_IFNAME_SIZE - 1)->required();
    text(command, "IFNAME", record.lower, "the management interface on it")->required();
    text(command, "--mac MAC", record.mif_mac, "of the management interface", mac_address)->required();
    texts(command, "--nic-mac MAC", record.snic_mac, "up: of up to four smart-NIC interfaces", mac_address,
          [&record](size_t count) { record.count = static_cast<int32_t>(count); });
    command.callback(
        [&command, &record] { no_use(command, {"--nic-mac"}, record.mode == 0, "only up has a use for it"); });
}

// Speed and duplex mean something only without auto-negotiation, and then both do.
template <typename Record>
void add_tuning(CLI::App &command, Record &record)
{
    choice(command, "--speed", record.speed, kSpeeds, "Mb/s, without auto-negotiation");
    choice(command, "--duplex", record.duplex, kHalfFull, "without auto-negotiation [full]");
    choice(command, "--link", record.link_state, kDownUp, "state afterwards [up]");
    command.callback([&command, &record] {
        require(record.autoneg != 0 || record.speed != 0, "--speed, without auto-negotiation");
        if (record.autoneg != 0 && command.count("--speed") + command.count("--duplex") != 0) {
            throw CLI::ValidationError("--speed and --duplex need --autoneg off");
        }
    });
}

void frontdedicated(CLI::App &command, Request &request)
{
    FrontdedicatedRequest &record = request.frame.frontdedicated;
    text(command, "IFNAME", record.ifname, kIfname)->required();
    text(command, "--mac MAC", record.mac, "to give it", mac_address)->required();
    choice(command, "--autoneg", record.autoneg, {{"leave", kLeaveAlone}, {"off", 0}, {"on", 1}},
           "auto-negotiation [leave]");
    add_tuning(command, record);
}

void flop_usb_nic(CLI::App &command, Request &request)
{
    FlopUsbNicRequest &record = request.frame.flop_usb_nic;
    text(command, "IFNAME", record.ifname, kIfname)->required();
    text(command, "--mac MAC", record.mac, "to give it", mac_address)->required();
    choice(command, "--link", record.link_state, kDownUp, "state afterwards [up]");
}

void tuning(CLI::App &command, Request &request)
{
    LinkTuningRequest &record = request.frame.tuning;
    text(command, "IFNAME", record.ifname, kIfname, any_text, RD_IFNAME_SIZE - 1)->required();
    choice(command, "--autoneg", record.autoneg, kOffOn, "auto-negotiation")->required();
    add_tuning(command, record);
}

void address(CLI::App &command, Request &request)
{
    StaticAddrRequest &record = request.frame.static_addrs;
    text(command, "IFNAME", record.ifname, kIfname)->required();
    add(command, "--address ADDRESS/LENGTH", "the address", [&record](const std::string &value) {
        const Prefix prefix = split_prefix("--address", value);
        put("--address", record.address, prefix.address);
        record.prefix_len = prefix.length;
    });
    text(command, "--gateway ADDRESS", record.gateway, "the default gateway", ip_address);
    flag(command, "--dad", record.dad, "IPv4: probe for another holder of the address first")
        ->needs(command.get_option("--address"));
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
    command
        .add_option_function<std::vector<std::string>>(
            "--route", take_routes, "IPv6: up to two routes, each with its router's address and MAC address")
        ->option_text("PREFIX/LENGTH ROUTER MAC ...")
        ->type_size(3)
        ->expected(1, 2);
    choice(command, "--autoconfiguration", record.autoconfig, kOffOn,
           "only switch IPv6 on, with router advertisements on or off", [&record] { record.autoconfig_only = 1; })
        ->excludes("--address")
        ->excludes("--gateway")
        ->excludes("--route");
    command.callback([&record] {
        const bool ipv4 = record.address[0] != '\0' && ipv4_address(record.address).empty();
        const bool ipv4_gateway = record.gateway[0] != '\0' && ipv4_address(record.gateway).empty();
        const bool ipv6 = record.address[0] != '\0' && !ipv4;
        const bool ipv6_gateway = record.gateway[0] != '\0' && !ipv4_gateway;
        const bool routes = record.route[0].router[0] != '\0';
        require(ipv4 || ipv6 || ipv4_gateway || ipv6_gateway || routes || record.autoconfig_only != 0,
                "--address, --gateway, --route or --autoconfiguration");
        record.ipv6 = ipv6 || ipv6_gateway || routes || record.autoconfig_only != 0 ? 1 : 0;
        if (record.ipv6 != 0 && (ipv4 || ipv4_gateway || record.dad != 0)) {
            throw CLI::ValidationError("one request sets addresses of one family, and only IPv4 is probed");
        }
    });
}

void raw(CLI::App &command, Request &request)
{
    number(command, "CODE", request.frame.header.cmd, 0, UINT32_MAX, "the command code")->required();
    flag(command, "--wait", request.frame.header.wait, "set the header's wait word");
    add(command, "HEX", "the bytes from offset 12 on", [&request](const std::string &digits) {
        if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            refuse("HEX", "'" + digits + "' is no even number of hexadecimal digits");
        }
        if (digits.size() / 2 > RD_MAX_MESSAGE - sizeof(RequestHeader)) {
            refuse("HEX", "more than " + std::to_string(RD_MAX_MESSAGE) + " bytes in all");
        }
        for (size_t i = 0; i < digits.size(); i += 2) {
            request.message += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        }
    });
}

void add_options(CLI::App &command, Request &request, uint32_t code)
{
    switch (code) {
    case RD_CMD_AUTOCONFIG: autoconfig(command, request); break;
    case RD_CMD_USBNIC: usbnic(command, request); break;
    case RD_CMD_MGMT_RECONFIG: mgmt(command, request); break;
    case RD_CMD_SERVICE: service(command, request); break;
    case RD_CMD_FIREWALL: firewall(command, request); break;
    case RD_CMD_CONJOIN: conjoin(command, request); break;
    case RD_CMD_LINK: link(command, request); break;
    case RD_CMD_HOSTNAME:
    case RD_CMD_DOMAINNAME:
    case RD_CMD_HOSTS_FILE: name(command, request); break;
    case RD_CMD_ARPING: arping(command, request); break;
    case RD_CMD_BC_IP_RULES: bc_ip_rules(command, request); break;
    case RD_CMD_VLAN_PRIORITY: vlan_priority(command, request); break;
    case RD_CMD_SLBC: slbc(command, request); break;
    case RD_CMD_SEND_PACKET: send_packet(command, request); break;
    case RD_CMD_IPV4_DAD: dad(command, request); break;
    case RD_CMD_INIT_IFACES: init(command, request); break;
    case RD_CMD_SIDEBAND: sideband(command, request); break;
    case RD_CMD_RESET_MGMT: reset_mgmt(command, request); break;
    case RD_CMD_MIF_FLUSH: mif_flush(command, request); break;
    case RD_CMD_DHCP_RELEASE: dhcp_release(command, request); break;
    case RD_CMD_NGM_DEBUG: ngm_debug(command, request); break;
    case RD_CMD_MDNS_BROWSE: mdns(command, request); break;
    case RD_CMD_INIT_SMARTNIC: smartnic(command, request); break;
    case RD_CMD_INIT_FRONTDEDICATED: frontdedicated(command, request); break;
    case RD_CMD_INIT_FLOP_USB_NIC: flop_usb_nic(command, request); break;
    case RD_CMD_LINK_TUNING: tuning(command, request); break;
    case RD_CMD_STATIC_ADDRS: address(command, request); break;
    case RD_CMD_TERMINATE: break;
    default: raw(command, request); break;
    }
}

// What a record holds that the command line says nothing of, where that is not zeros.
void set_defaults(RequestFrame &frame)
{
    switch (frame.header.cmd) {
    case RD_CMD_MGMT_RECONFIG:
        frame.mgmt.mtu = 1500;
        frame.mgmt.i6_ena = 1;
        frame.mgmt.i6_auto = 1;
        frame.mgmt.mif_linkstate = 1;
        frame.mgmt.ded_linkstate = 1;
        frame.mgmt.stabpriv = kLeaveAlone;
        break;
    case RD_CMD_BC_IP_RULES:
        for (auto *field : {&frame.bc_ip_rules.address, &frame.bc_ip_rules.netmask, &frame.bc_ip_rules.gateway,
                            &frame.bc_ip_rules.dns}) {
            strcpy(*field, "none");
        }
        strcpy(frame.bc_ip_rules.table, "rt2");
        break;
    case RD_CMD_INIT_FRONTDEDICATED:
        frame.frontdedicated.autoneg = kLeaveAlone;
        frame.frontdedicated.duplex = 1;
        frame.frontdedicated.link_state = 1;
        break;
    case RD_CMD_INIT_FLOP_USB_NIC: frame.flop_usb_nic.link_state = 1; break;
    case RD_CMD_LINK_TUNING:
        frame.tuning.duplex = 1;
        frame.tuning.link_state = 1;
        break;
    default: break;
    }
}

} // namespace

void add_commands(CLI::App &app, Request &request)
{
    for (const Command &command : commands()) {
        CLI::App *subcommand = app.add_subcommand(command.name, command.summary);
        subcommand->group(command.group)->fallthrough();
        subcommand->footer("q7rdctl --help tells of the options that every command takes.\n\nExample:\n  q7rdctl " +
                           std::string(command.example));
        // The records share their bytes: defaults are set when it is clear which is meant.
        subcommand->preparse_callback([&request, &command](size_t) {
            request.command = command;
            request.frame.header.cmd = command.code;
            set_defaults(request.frame);
        });
        add_options(*subcommand, request, command.code);
    }
}
