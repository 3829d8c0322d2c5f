// The controller's own interfaces.

#include "commands/group.h"

namespace
{

void add_init_ifaces(CommandLine &command, Request &request)
{
    InitIfacesRequest &record = request.frame.init_ifaces;
    command.flag("--modular", record.is_modular, "the controller sits in a slot: build the internal VLANs");
    command.flag("--ngm", record.is_ngm, "internal link is eth0 with IPv6, else eth3 with IPv4");
    command.number("--slot NUMBER", record.slot, 1, 254, "the slot");
    command.text("--mac MAC", record.macaddress, "the controller's, on a modular system", mac_address);
    command.flag("--eth0", record.init_eth0, "IPv6 off on eth0");
    command.flag("--eth3", record.init_eth3, "IPv6 off on eth3");
    command.flag("--front-dedicated", record.init_frded, "IPv6 off on eth1");
    command.text("--kx-interface IFNAME", record.kx_ifname, "set up the KX management interface");
    command.text("--kx-mac MAC", record.kx_mac, "its MAC address", mac_address).needs("--kx-interface");
    command.text("--seed-a TEXT", record.secret_seed_a, "of the secret that stable IPv6 addresses are made from");
    command.text("--seed-b TEXT", record.secret_seed_b, "of the same");
    command.finally([&record] {
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

void check_mgmt_reconfig(const CommandLine &command, const MgmtReconfigRequest &record)
{
    const bool rebuild = record.action == RD_MGMT_REBUILD;
    command.no_use({"--lower", "--macvlan", "--mac"}, !rebuild, "only rebuild has a use for it");
    command.no_use({"--mac"}, record.macvlan != 0, "a macvlan has that of the interface below it");
    require(!rebuild || record.lwr[0][0] != '\0', "--lower");
    require(!rebuild || record.macvlan != 0 || record.mac[0] != '\0', "--mac or --macvlan");
    if (record.macvlan != 0 && record.lwr[1][0] != '\0') {
        refuse("--lower", "a macvlan has one interface below it");
    }
    const std::string vlan = "." + std::to_string(record.vlan);
    if (record.vlan != 0 && strlen(record.mif) + vlan.size() >= sizeof record.mif) {
        refuse("--vlan", "'" + (record.mif + vlan) + "' is longer than 15 characters");
    }
}

void add_mgmt_reconfig(CommandLine &command, Request &request)
{
    MgmtReconfigRequest &record = request.frame.mgmt_reconfig;
    command
        .choice("ACTION", record.action,
                {{"rebuild", RD_MGMT_REBUILD}, {"ipv6", RD_MGMT_REAPPLY}, {"link", RD_MGMT_LINK}},
                "build it anew, reapply its IPv6 settings, or only what all do: link state, MTU, hop limit, and the "
                "static addresses go")
        .required();
    command.ifname(record.mif, "the management interface");
    command.texts("--lower IFNAME", record.lwr, "rebuild: up to three below it");
    command.flag("--macvlan", record.macvlan, "rebuild: a passthru macvlan on the first, instead of a bond of all");
    command.text("--mac MAC", record.mac, "rebuild: of the bond", mac_address);
    command.number("--vlan ID", record.vlan, 1, 4094, "a VLAN on top carries the addresses");
    command.number("--mtu BYTES", record.mtu, 68, 9999, "[1500]");
    command.choice("--ipv6", record.i6_ena, kOffOn, "[on]");
    command.choice("--router-advertisements", record.i6_auto, kOffOn, "accept them [on]");
    command.choice("--address-generation", record.stabpriv,
                   {{"leave", RD_ADDRESS_GENERATION_LEAVE},
                    {"eui64", RD_ADDRESS_GENERATION_EUI64},
                    {"stable", RD_ADDRESS_GENERATION_STABLE}},
                   "of IPv6 interface identifiers [leave]");
    command.number("--hop-limit HOPS", record.hoplimit, 1, 255, "of IPv6");
    command.choice("--link", record.mif_linkstate, kDownUp, "state of the management interface [up]");
    command.text("--dedicated IFNAME", record.ded, "an interface whose link follows --dedicated-link");
    command.text("--dedicated2 IFNAME", record.ded2, "another").needs("--dedicated");
    command.choice("--dedicated-link", record.ded_linkstate, kDownUp, "[up]");
    command.finally([&command, &record] { check_mgmt_reconfig(command, record); });
}

const Command kCommands[] = {
    {
        COMMAND(INIT_IFACES),
        .summary = "initialise the controller's interfaces",
        .example = "--modular --slot 4 --mac 02:00:00:00:00:01 --eth0 --seed-a ABC123",
        .add_options = add_init_ifaces,
    },
    {
        COMMAND(MGMT_RECONFIG),
        .summary = "rebuild the management interface, or reapply its settings",
        .example = "rebuild bond0 --lower eth1 eth2 --mac 02:00:00:00:00:01 --vlan 100",
        .set_defaults =
            [](RequestFrame &frame) {
                frame.mgmt_reconfig.mtu = 1500;
                frame.mgmt_reconfig.i6_ena = 1;
                frame.mgmt_reconfig.i6_auto = 1;
                frame.mgmt_reconfig.mif_linkstate = RD_LINK_UP;
                frame.mgmt_reconfig.ded_linkstate = RD_LINK_UP;
                frame.mgmt_reconfig.stabpriv = RD_ADDRESS_GENERATION_LEAVE;
            },
        .add_options = add_mgmt_reconfig,
    },
    {
        COMMAND(MIF_FLUSH),
        .summary = "take the global addresses off the management interface",
        .example = "bond0 --ipv6-default-route",
        .add_options =
            [](CommandLine &command, Request &request) {
                MifFlushRequest &record = request.frame.mif_flush;
                command.ifname(record.ifname, "the management interface");
                command.flag("--ipv6-default-route", record.ipv6_default_route, "flush that too");
            },
    },
    {
        COMMAND(RESET_MGMT),
        .summary = "delete the management interface",
        .example = "bond0 --mac 02:00:00:00:00:01",
        .add_options =
            [](CommandLine &command, Request &request) {
                ResetMgmtRequest &record = request.frame.reset_mgmt;
                command.ifname(record.ifname, "the management interface");
                command.text("--mac MAC", record.mac, "to give to eth3 and eth2", mac_address);
                command.flag("--macsec", record.macsec, "delete macsec0 too");
                command.finally([&record] { record.set_mac = record.mac[0] != '\0' ? 1 : 0; });
            },
    },
};

} // namespace

Group management_commands()
{
    return {"Management interface", kCommands};
}
