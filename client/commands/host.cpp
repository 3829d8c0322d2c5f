// Interfaces that the host server or a card of it sees.

#include "commands/group.h"

#include <algorithm>

namespace
{

void take_usbnic_addresses(UsbnicRequest &record, const std::vector<std::string> &addresses)
{
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
}

void check_usbnic(const CommandLine &command, const UsbnicRequest &record)
{
    const bool create = record.action == RD_USBNIC_CREATE;
    const bool up = record.action == RD_USBNIC_UP;
    command.no_use({"--host-mac", "--gadget-flag"}, !create, "only create has a use for it");
    command.no_use({"--device-mac", "--dhcp-server"}, record.action == RD_USBNIC_RENEW, "renew has no use for it");
    command.no_use({"--address", "--dhcp-server"}, create, "create has no use for it");
    require(!create || record.host_mac[0] != '\0', "--host-mac");
    require((!create && !up) || record.device_mac[0] != '\0', "--device-mac");
}

void add_usbnic(CommandLine &command, Request &request)
{
    UsbnicRequest &record = request.frame.usbnic;
    command
        .choice(
            "ACTION", record.action,
            {{"down", RD_USBNIC_DOWN}, {"up", RD_USBNIC_UP}, {"renew", RD_USBNIC_RENEW}, {"create", RD_USBNIC_CREATE}},
            "take it down, bring it up, renew its global IPv6 addresses, or create the gadget")
        .required();
    command.text("--host-mac MAC", record.host_mac, "create: of the host's end", mac_address);
    command.text("--device-mac MAC", record.device_mac, "create and up: of the controller's end", mac_address);
    command.flag("--gadget-flag", record.gadget_flag, "create: hands 1 to the gadget script, else 0");
    command.flag("--dhcp-server", record.dhcp_server, "up and down: start the DHCP server, else it is stopped");
    command.values("--address ADDRESS/LENGTH", "up to three to set on usbpt", 1, 3,
                   [&record](const std::vector<std::string> &given) { take_usbnic_addresses(record, given); });
    command.finally([&command, &record] { check_usbnic(command, record); });
}

const Command kCommands[] = {
    {
        COMMAND(USBNIC),
        .summary = "the USB network function for the host",
        .example = "up --device-mac 02:00:00:00:00:02 --address 169.254.77.1/24 --dhcp-server",
        .add_options = add_usbnic,
    },
    {
        COMMAND(SIDEBAND),
        .summary = "add or delete the side-band macvlans",
        .example = "add --macv2 --macv2-mac 02:00:00:00:00:22 --macve0",
        .add_options =
            [](CommandLine &command, Request &request) {
                SidebandRequest &record = request.frame.sideband;
                command
                    .choice("ACTION", record.operation, {{"delete", RD_SIDEBAND_DELETE}, {"add", RD_SIDEBAND_ADD}},
                            "what to do")
                    .required();
                command.flag("--macv2", record.macv2, "the one on eth2");
                command.flag("--macv3", record.macv3, "the one on eth3");
                command.flag("--macve0", record.macve0, "the one on usbe0");
                command
                    .text("--macv2-mac MAC", record.macv2_mac, "its MAC address; without one it is a passthru macvlan",
                          mac_address)
                    .needs("--macv2");
                command.text("--macv3-mac MAC", record.macv3_mac, "the same", mac_address).needs("--macv3");
                command.finally([&record] {
                    require(record.macv2 + record.macv3 + record.macve0 != 0, "--macv2, --macv3 or --macve0");
                });
            },
    },
    {
        COMMAND(INIT_SMARTNIC),
        .summary = "set up or tear down the smart-NIC layout",
        .example = "up eth3 mif0 --mac 02:00:00:00:00:0f --nic-mac 02:00:00:00:01:00",
        .add_options =
            [](CommandLine &command, Request &request) {
                InitSmartnicRequest &record = request.frame.init_smartnic;
                command
                    .choice("ACTION", record.mode, {{"down", RD_SMARTNIC_TEAR_DOWN}, {"up", RD_SMARTNIC_SET_UP}},
                            "set it up or tear it down")
                    .required();
                command.ifname(record.physical, "the physical interface", "PHYSICAL");
                command.ifname(record.lower, "the management interface on it");
                command.text("--mac MAC", record.mif_mac, "of the management interface", mac_address).required();
                command.texts("--nic-mac MAC", record.snic_mac, "up: of up to four smart-NIC interfaces", mac_address,
                              &record.count);
                command.finally([&command, &record] {
                    command.no_use({"--nic-mac"}, record.mode == RD_SMARTNIC_TEAR_DOWN, "only up has a use for it");
                });
            },
    },
    {
        COMMAND(INIT_FRONTDEDICATED),
        .summary = "prepare the front dedicated port",
        .example = "eth1 --mac 02:00:00:00:00:01 --autoneg on",
        .set_defaults =
            [](RequestFrame &frame) {
                frame.init_frontdedicated.autoneg = RD_AUTONEG_LEAVE;
                frame.init_frontdedicated.duplex = RD_DUPLEX_FULL;
                frame.init_frontdedicated.link_state = RD_LINK_UP;
            },
        .add_options =
            [](CommandLine &command, Request &request) {
                InitFrontdedicatedRequest &record = request.frame.init_frontdedicated;
                command.ifname(record.ifname);
                command.text("--mac MAC", record.mac, "to give it", mac_address).required();
                command.choice("--autoneg", record.autoneg,
                               {{"leave", RD_AUTONEG_LEAVE}, {"off", RD_AUTONEG_OFF}, {"on", RD_AUTONEG_ON}},
                               "auto-negotiation [leave]");
                add_tuning(command, record);
            },
    },
    {
        COMMAND(INIT_FLOP_USB_NIC),
        .summary = "prepare a USB NIC",
        .example = "eth4 --mac 02:00:00:00:00:04",
        .set_defaults = [](RequestFrame &frame) { frame.init_flop_usb_nic.link_state = RD_LINK_UP; },
        .add_options =
            [](CommandLine &command, Request &request) {
                InitFlopUsbNicRequest &record = request.frame.init_flop_usb_nic;
                command.ifname(record.ifname);
                command.text("--mac MAC", record.mac, "to give it", mac_address).required();
                command.choice("--link", record.link_state, kDownUp, "state afterwards [up]");
            },
    },
};

} // namespace

Group host_commands()
{
    return {"Host-facing interfaces", kCommands};
}
