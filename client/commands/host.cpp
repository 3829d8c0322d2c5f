// Interfaces that the host server or a card of it sees.

#include "commands/group.h"

namespace
{

void usbnic(CommandLine command, Request &request)
{
    UsbnicRequest &record = request.frame.usbnic;
    enum { kDown, kUp, kRenew, kCreate };
    command
        .choice("ACTION", record.action, {{"down", kDown}, {"up", kUp}, {"renew", kRenew}, {"create", kCreate}},
                "take it down, bring it up, renew its global IPv6 addresses, or create the gadget")
        .required();
    command.text("--host-mac MAC", record.host_mac, "create: of the host's end", mac_address);
    command.text("--device-mac MAC", record.device_mac, "create and up: of the controller's end", mac_address);
    command.flag("--gadget-flag", record.gadget_flag, "create: hands 1 to the gadget script, else 0");
    command.flag("--dhcp-server", record.dhcp_server, "up and down: start the DHCP server, else it is stopped");
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
    command.values("--address ADDRESS/LENGTH", "up to three to set on usbpt", 1, 3, take);
    command.finally([command, &request] {
        const UsbnicRequest &given = request.frame.usbnic;
        command.no_use({"--host-mac", "--gadget-flag"}, given.action != kCreate, "only create has a use for it");
        command.no_use({"--device-mac", "--dhcp-server"}, given.action == kRenew, "renew has no use for it");
        command.no_use({"--address", "--dhcp-server"}, given.action == kCreate, "create has no use for it");
        require(given.action != kCreate || given.host_mac[0] != '\0', "--host-mac");
        require((given.action != kCreate && given.action != kUp) || given.device_mac[0] != '\0', "--device-mac");
        if (given.action == kCreate) {
            request.command.tool = "configfs_gadget_usbpt.sh";
        } else if (given.action == kUp) {
            request.command.tool = given.dhcp_server != 0 ? "udhcpd" : "kill";
        }
    });
}

void sideband(CommandLine command, Request &request)
{
    SidebandRequest &record = request.frame.sideband;
    command.choice("ACTION", record.operation, {{"delete", 0}, {"add", 1}}, "what to do").required();
    command.flag("--macv2", record.macv2, "the one on eth2");
    command.flag("--macv3", record.macv3, "the one on eth3");
    command.flag("--macve0", record.macve0, "the one on usbe0");
    command
        .text("--macv2-mac MAC", record.macv2_mac, "its MAC address; without one it is a passthru macvlan", mac_address)
        .needs("--macv2");
    command.text("--macv3-mac MAC", record.macv3_mac, "the same", mac_address).needs("--macv3");
    command.finally(
        [&record] { require(record.macv2 + record.macv3 + record.macve0 != 0, "--macv2, --macv3 or --macve0"); });
}

void smartnic(CommandLine command, Request &request)
{
    InitSmartnicRequest &record = request.frame.init_smartnic;
    command.choice("ACTION", record.mode, kDownUp, "set it up or tear it down").required();
    command.text("PHYSICAL", record.physical, "the physical interface", any_text, RD_IFNAME_SIZE - 1).required();
    command.text("IFNAME", record.lower, "the management interface on it").required();
    command.text("--mac MAC", record.mif_mac, "of the management interface", mac_address).required();
    command.texts("--nic-mac MAC", record.snic_mac, "up: of up to four smart-NIC interfaces", mac_address,
                  [&record](size_t count) { record.count = static_cast<int32_t>(count); });
    command.finally(
        [command, &record] { command.no_use({"--nic-mac"}, record.mode == 0, "only up has a use for it"); });
}

void frontdedicated(CommandLine command, Request &request)
{
    InitFrontdedicatedRequest &record = request.frame.init_frontdedicated;
    command.text("IFNAME", record.ifname, kIfname).required();
    command.text("--mac MAC", record.mac, "to give it", mac_address).required();
    command.choice("--autoneg", record.autoneg, {{"leave", kLeaveAlone}, {"off", 0}, {"on", 1}},
                   "auto-negotiation [leave]");
    add_tuning(command, record);
}

void frontdedicated_defaults(RequestFrame &frame)
{
    frame.init_frontdedicated.autoneg = kLeaveAlone;
    frame.init_frontdedicated.duplex = 1;
    frame.init_frontdedicated.link_state = 1;
}

void flop_usb_nic(CommandLine command, Request &request)
{
    InitFlopUsbNicRequest &record = request.frame.init_flop_usb_nic;
    command.text("IFNAME", record.ifname, kIfname).required();
    command.text("--mac MAC", record.mac, "to give it", mac_address).required();
    command.choice("--link", record.link_state, kDownUp, "state afterwards [up]");
}

void flop_usb_nic_defaults(RequestFrame &frame)
{
    frame.init_flop_usb_nic.link_state = 1;
}

const Command kCommands[] = {
    {"usbnic",
     RD_CMD_USBNIC,
     "the USB network function for the host",
     "usbnic up --device-mac 02:00:00:00:00:02 --address 169.254.77.1/24 --dhcp-server",
     "ip",
     {{RD_RC_FAILED, "no DHCP server is running that could be stopped; the error log tells of the rest"},
      kSeveralSteps},
     usbnic},
    {"sideband",
     RD_CMD_SIDEBAND,
     "add or delete the side-band macvlans",
     "sideband add --macv2 --macv2-mac 02:00:00:00:00:22 --macve0",
     "ip",
     {kSeveralSteps},
     sideband},
    {"smartnic",
     RD_CMD_INIT_SMARTNIC,
     "set up or tear down the smart-NIC layout",
     "smartnic up eth3 mif0 --mac 02:00:00:00:00:0f --nic-mac 02:00:00:00:01:00 02:00:00:00:01:01",
     "ip",
     {kBadIfname, kSeveralSteps},
     smartnic},
    {"frontdedicated",
     RD_CMD_INIT_FRONTDEDICATED,
     "prepare the front dedicated port",
     "frontdedicated eth1 --mac 02:00:00:00:00:01 --autoneg on",
     "ip",
     {kBadIfname, kSeveralSteps},
     frontdedicated,
     frontdedicated_defaults},
    {"usb-nic",
     RD_CMD_INIT_FLOP_USB_NIC,
     "prepare a USB NIC",
     "usb-nic eth4 --mac 02:00:00:00:00:04",
     "ip",
     {kBadIfname, kSeveralSteps},
     flop_usb_nic,
     flop_usb_nic_defaults},
};

} // namespace

Group host_commands()
{
    return {"Host-facing interfaces", kCommands};
}
