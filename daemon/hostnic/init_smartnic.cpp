#include "hostnic/commands.h"

#include "base/text.h"
#include "base/validate.h"
#include "iface/address.h"
#include "iface/ipv6.h"
#include "iface/link.h"

static constexpr int kMaxSmartnics = 4;
static constexpr const char *kPhysicalMac = "00:51:50:10:10:60"; // while the macvlan above has the management MAC
static constexpr int kSmartnicPrefixLength = 64;

static bool mac_is_bad(const char (&mac)[RD_MAC_SIZE])
{
    return mac[0] == '\0' || rd_validate_field(rd_validate_mac, mac) != RD_RC_OK;
}

// Adds the i-th smart-NIC interface. Returns the result of setting its address.
static int add_smartnic(int i, const char *mac, const char *physical, const char *function = __builtin_FUNCTION())
{
    char name[RD_IFNAME_SIZE];
    char address[RD_ADDRESS_SIZE];
    rd_format(name, "sd%d", i);
    rd_format(address, "fde1:53ba:e9a0:de4%d::1", i + 1);
    rd_add_macvlan(name, mac, physical);
    rd_configure_ipv6(name, {.enable = 1, .autoconfig = 0, .mode = RD_ADDRESS_GENERATION_LEAVE});
    int rc = rd_set_link_state(name, RD_LINK_UP);
    RD_INFO_OF(function, "set %s up rc=%d\n", name, rc);
    rc = rd_chg_static_ip(name, address, kSmartnicPrefixLength);
    RD_INFO_OF(function, "set %s static addr rc=%d\n", name, rc);
    return rc;
}

int rd_init_smartnic(const InitSmartnicRequest *request)
{
    RD_INFO("\n");
    if (request->mode > RD_SMARTNIC_SET_UP) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "invalid mode");
    }
    if (request->count > kMaxSmartnics) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "invalid snic count");
    }
    if (const int refused = rd_check(rd_validate_shell_arg, request->lower, "invalid lower interface name")) {
        return refused;
    }
    if (const int refused = rd_check(rd_validate_shell_arg, request->physical, "invalid physical interface name")) {
        return refused;
    }
    if (mac_is_bad(request->mif_mac)) {
        return rd_refuse(RD_RC_INVALID, "Invalid mif mac address");
    }
    for (int i = 0; i < request->count; i++) {
        if (mac_is_bad(request->snic_mac[i])) {
            RD_ERROR("Invalid snic mac address %d\n", i);
            return RD_RC_INVALID;
        }
    }

    char name[RD_IFNAME_SIZE];
    const bool set_up = request->mode == RD_SMARTNIC_SET_UP;
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
    rd_configure_ipv6(request->lower, kIpv6Off);
    for (int i = 0; set_up && i < request->count; i++) {
        rc = add_smartnic(i, request->snic_mac[i], request->physical);
    }
    return rc;
}
