#include "hostnic/init_nics.h"

#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/address.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "iface/link_tuning.h"

static constexpr int kMaxSmartnics = 4;
static constexpr const char *kPhysicalMac = "00:51:50:10:10:60"; // while the macvlan above has the management MAC
static constexpr int kSmartnicPrefixLength = 64;

static bool mac_is_bad(const char (&mac)[RD_MAC_SIZE])
{
    return mac[0] == '\0' || rd_validate_field(rd_validate_mac, mac) != RD_RC_OK;
}

int rd_init_smartnic(const InitSmartnicRequest *request)
{
    RD_INFO("\n");
    if (request->mode > 1) {
        RD_ERROR("invalid mode\n");
        return RD_RC_OUT_OF_RANGE;
    }
    if (request->count > kMaxSmartnics) {
        RD_ERROR("invalid snic count\n");
        return RD_RC_OUT_OF_RANGE;
    }
    int refused = rd_validate_field(rd_validate_shell_arg, request->lower);
    if (refused != 0) {
        RD_ERROR("invalid lower interface name\n");
        return refused;
    }
    refused = rd_validate_field(rd_validate_shell_arg, request->physical);
    if (refused != 0) {
        RD_ERROR("invalid physical interface name\n");
        return refused;
    }
    if (mac_is_bad(request->mif_mac)) {
        RD_ERROR("Invalid mif mac address\n");
        return RD_RC_INVALID;
    }
    for (int i = 0; i < request->count; i++) {
        if (mac_is_bad(request->snic_mac[i])) {
            RD_ERROR("Invalid snic mac address %d\n", i);
            return RD_RC_INVALID;
        }
    }

    const bool set_up = request->mode == 1;
    char name[RD_IFNAME_SIZE];
    for (int i = 0; !set_up && i < kMaxSmartnics; i++) { // all four, whatever was set up once
        rd_format(name, "sd%d", i);
        RD_INFO("deleting smartnic interface %s\n", name);
        if (rd_ip_link_delete("delete", name) != 0) {
            RD_WARN("failed to delete %s\n", name);
        }
    }
    RD_INFO("deleting interface %s\n", request->lower);
    if (rd_ip_link_delete("delete", request->lower) != 0) {
        RD_ERROR("failed to delete %s\n", request->lower);
    }
    int rc = rd_set_iface_mac(request->physical, set_up ? kPhysicalMac : request->mif_mac);
    rd_add_macvlan(request->lower, set_up ? request->mif_mac : nullptr, request->physical);
    rd_configure_ipv6(request->lower, 0, 0, -1);
    for (int i = 0; set_up && i < request->count; i++) {
        char address[RD_ADDRESS_SIZE];
        rd_format(name, "sd%d", i);
        rd_format(address, "fde1:53ba:e9a0:de4%d::1", i + 1);
        rd_add_macvlan(name, request->snic_mac[i], request->physical);
        rd_configure_ipv6(name, 1, 0, -1);
        const int up = rd_set_link_state(name, 1);
        RD_INFO("set %s up rc=%d\n", name, up);
        rc = rd_chg_static_ip(name, address, kSmartnicPrefixLength);
        RD_INFO("set %s static addr rc=%d\n", name, rc);
    }
    return rc;
}

int rd_init_frontdedicated(const InitFrontdedicatedRequest *request)
{
    if (rd_validate_field(rd_validate_mac, request->mac) != 0) {
        RD_ERROR("Invalid mac address\n");
        return RD_RC_INVALID;
    }
    const int refused = rd_validate_field(rd_validate_shell_arg, request->ifname);
    if (refused != 0) {
        RD_ERROR("invalid interface name\n");
        return refused;
    }
    rd_configure_ipv6(request->ifname, 0, 0, -1);
    int rc = rd_set_iface_mac(request->ifname, request->mac);
    RD_INFO("set %s hwaddr rc=%d\n", request->ifname, rc);
    rd_set_link_tuning(request->ifname, request->autoneg, request->speed, request->duplex);
    rc = rd_set_link_state(request->ifname, request->link_state);
    RD_INFO("set %s link %d rc=%d\n", request->ifname, static_cast<int>(request->link_state), rc);
    return rc;
}

// Written out again, for the messages of each command carry its own name.
int rd_init_flop_usb_nic(const InitFlopUsbNicRequest *request)
{
    if (rd_validate_field(rd_validate_mac, request->mac) != 0) {
        RD_ERROR("Invalid mac address\n");
        return RD_RC_INVALID;
    }
    const int refused = rd_validate_field(rd_validate_shell_arg, request->ifname);
    if (refused != 0) {
        RD_ERROR("invalid interface name\n");
        return refused;
    }
    rd_configure_ipv6(request->ifname, 0, 0, -1);
    int rc = rd_set_iface_mac(request->ifname, request->mac);
    RD_INFO("set %s hwaddr rc=%d\n", request->ifname, rc);
    rc = rd_set_link_state(request->ifname, request->link_state);
    RD_INFO("set %s link %d rc=%d\n", request->ifname, static_cast<int>(request->link_state), rc);
    return rc;
}
