// The controller's own interfaces.

#include "commands/group.h"

namespace
{

void init(CommandLine command, Request &request)
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

void mgmt(CommandLine command, Request &request)
{
    MgmtReconfigRequest &record = request.frame.mgmt_reconfig;
    enum { kIpv6, kRebuild, kLink };
    command
        .choice(
            "ACTION", record.action, {{"rebuild", kRebuild}, {"ipv6", kIpv6}, {"link", kLink}},
            "build it anew, reapply its IPv6 settings, or only what all do: link state, MTU, hop limit, and the static "
            "addresses go")
        .required();
    command.text("IFNAME", record.mif, "the management interface").required();
    command.texts("--lower IFNAME", record.lwr, "rebuild: up to three below it");
    command.flag("--macvlan", record.macvlan, "rebuild: a passthru macvlan on the first, instead of a bond of all");
    command.text("--mac MAC", record.mac, "rebuild: of the bond", mac_address);
    command.number("--vlan ID", record.vlan, 1, 4094, "a VLAN on top carries the addresses");
    command.number("--mtu BYTES", record.mtu, 68, 9999, "[1500]");
    command.choice("--ipv6", record.i6_ena, kOffOn, "[on]");
    command.choice("--router-advertisements", record.i6_auto, kOffOn, "accept them [on]");
    command.choice("--address-generation", record.stabpriv, {{"leave", kLeaveAlone}, {"eui64", 0}, {"stable", 2}},
                   "of IPv6 interface identifiers [leave]");
    command.number("--hop-limit HOPS", record.hoplimit, 1, 255, "of IPv6");
    command.choice("--link", record.mif_linkstate, kDownUp, "state of the management interface [up]");
    command.text("--dedicated IFNAME", record.ded, "an interface whose link follows --dedicated-link");
    command.text("--dedicated2 IFNAME", record.ded2, "another").needs("--dedicated");
    command.choice("--dedicated-link", record.ded_linkstate, kDownUp, "[up]");
    command.finally([command, &record] {
        command.no_use({"--lower", "--macvlan", "--mac"}, record.action != kRebuild, "only rebuild has a use for it");
        command.no_use({"--mac"}, record.macvlan != 0, "a macvlan has that of the interface below it");
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

void mgmt_defaults(RequestFrame &frame)
{
    frame.mgmt_reconfig.mtu = 1500;
    frame.mgmt_reconfig.i6_ena = 1;
    frame.mgmt_reconfig.i6_auto = 1;
    frame.mgmt_reconfig.mif_linkstate = 1;
    frame.mgmt_reconfig.ded_linkstate = 1;
    frame.mgmt_reconfig.stabpriv = kLeaveAlone;
}

void mif_flush(CommandLine command, Request &request)
{
    command.text("IFNAME", request.frame.mif_flush.ifname, "the management interface", any_text, RD_IFNAME_SIZE - 1)
        .required();
    command.flag("--ipv6-default-route", request.frame.mif_flush.ipv6_default_route, "flush that too");
}

void reset_mgmt(CommandLine command, Request &request)
{
    ResetMgmtRequest &record = request.frame.reset_mgmt;
    command.text("IFNAME", record.ifname, "the management interface").required();
    command.text("--mac MAC", record.mac, "to give to eth3 and eth2", mac_address);
    command.flag("--macsec", record.macsec, "delete macsec0 too");
    command.finally([&record] { record.set_mac = record.mac[0] != '\0' ? 1 : 0; });
}

const Command kCommands[] = {
    {"init",
     RD_CMD_INIT_IFACES,
     "initialise the controller's interfaces",
     "init --modular --slot 4 --mac 02:00:00:00:00:01 --eth0 --seed-a ABC123",
     "ip",
     {kSeveralSteps},
     init},
    {"mgmt",
     RD_CMD_MGMT_RECONFIG,
     "rebuild the management interface, or reapply its settings",
     "mgmt rebuild bond0 --lower eth1 eth2 --mac 02:00:00:00:00:01 --vlan 100",
     "ip",
     {kBadIfname, kSeveralSteps},
     mgmt,
     mgmt_defaults},
    {"mif-flush",
     RD_CMD_MIF_FLUSH,
     "take the global addresses off the management interface",
     "mif-flush bond0 --ipv6-default-route",
     "ip",
     {kBadIfname, kSeveralSteps},
     mif_flush},
    {"reset-mgmt",
     RD_CMD_RESET_MGMT,
     "delete the management interface",
     "reset-mgmt bond0 --mac 02:00:00:00:00:01",
     "ip",
     {kBadIfname, kSeveralSteps},
     reset_mgmt},
};

} // namespace

Group management_commands()
{
    return {"Management interface", kCommands};
}
