#define OPENSSL_API_COMPAT 0x10100000L // for MD5(), which serves no security here

#include "iface/commands.h"

#include "base/file.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/address.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "system/service.h"

#include <utility>

#include <openssl/md5.h>

static constexpr int kInternalVlan = 4003;
static constexpr int kSecondInternalVlan = 4005;
static constexpr int kSlotPrefixLength = 24;

// Makes the secret from which the kernel derives stable-privacy interface identifiers (RFC 7217) of the interfaces
// created from now on. It depends on the two texts alone, so that addresses survive a restart.
static void set_stable_secret(const char *seed_a, const char *seed_b)
{
    char seed[28] = {}; // hashed whole: what the text leaves out is zeros, what does not fit has no effect
    unsigned char md[MD5_DIGEST_LENGTH];
    char secret[46];
    rd_format(seed, "%s %s\n", seed_a, seed_b);
    MD5(reinterpret_cast<const unsigned char *>(seed), sizeof seed, md);
    rd_format(secret, "%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x", md[0], md[1], md[2],
              md[3], md[4], md[5], md[6], md[7], md[8], md[9], md[10], md[11], md[12], md[13], md[14], md[15]);
    rd_ipv6_setting("default", "stable_secret", secret);
}

static void rd_init_kxmgmt_iface(const InitIfacesRequest &request)
{
    const char *const ifname = request.kx_ifname;
    const char *const mac = request.kx_mac;
    if (ifname[0] == '\0' || mac[0] == '\0') {
        RD_ERROR("invalid KX management interface config\n");
        return;
    }
    if (rd_validate_field(rd_validate_mac, request.kx_mac) != 0 ||
        rd_validate_field(rd_validate_ifname, request.kx_ifname) != 0) {
        RD_ERROR("invalid mac/interface\n");
        return;
    }
    RD_INFO("init KX mgmt iface %s [%s]\n", ifname, mac);
    int rc = rd_set_link_state(ifname, RD_LINK_DOWN);
    RD_INFO("set %s down rc=%d\n", ifname, rc);
    rc = rd_ip_link_set_mac(ifname, mac);
    if (rc != 0) {
        RD_ERROR("failed to set %s mac %s rc=%d\n", ifname, mac, rc);
    }
    rc = rd_set_link_state(ifname, RD_LINK_UP);
    RD_INFO("set %s up rc=%d\n", ifname, rc);
    rd_wait_for_iface_ready(ifname, 10, "up");
    rd_kx_dhcp_ctrl(RD_SERVICE_START, 1);
}

// Builds the internal VLANs and addresses of a modular system. Returns whether all that it needs was there.
//   result  set to that of the last step
static bool init_modular(const InitIfacesRequest &request, int *result, const char *function = __builtin_FUNCTION())
{
    const auto is_ngm = static_cast<int>(request.is_ngm);
    const char *const internal = is_ngm != 0 ? "eth0" : "eth3";
    int rc = rd_set_link_state(internal, RD_LINK_UP);
    RD_INFO_OF(function, "set %s up rc=%d\n", internal, rc);
    rd_wait_for_iface_ready(internal, 10, "up");
    if (request.macaddress[0] == '\0') {
        RD_ERROR_OF(function, "missing macaddress\n");
        return false;
    }
    if (is_ngm == 0 && (request.slot == 0 || request.slot == 255)) {
        RD_ERROR_OF(function, "missing slot_number\n");
        return false;
    }

    const Ipv6Settings settings{.enable = is_ngm, .autoconfig = is_ngm, .mode = RD_ADDRESS_GENERATION_EUI64};
    rc = rd_add_vlan(internal, kInternalVlan, settings);
    if (rc != 0) {
        RD_ERROR_OF(function, "adding vlan %d rc=%d\n", kInternalVlan, rc);
    }
    if (is_ngm != 0) {
        rc = rd_add_vlan(internal, kSecondInternalVlan,
                         {.enable = 1, .autoconfig = 1, .mode = RD_ADDRESS_GENERATION_EUI64});
        if (rc != 0) {
            RD_ERROR_OF(function, "adding vlan %d rc=%d\n", kSecondInternalVlan, rc);
        }
    } else {
        char vlan[RD_IFNAME_SIZE];
        char address[19];
        rd_format(vlan, "%s.%d", internal, kInternalVlan);
        rd_format(address, "%s.%u", "169.254.31", request.slot);
        rc = rd_chg_static_ip(vlan, address, kSlotPrefixLength);
        if (rc != 0) {
            RD_ERROR_OF(function, "Failed to add static IP %s on %s rc=%d\n", address, vlan, rc);
        }
    }
    *result = rc;
    return true;
}

int rd_init_interfaces(InitIfacesRequest *request)
{
    rd_cut(request->secret_seed_a, request->secret_seed_b);
    RD_INFO("is_modular:%d is_ngm:%d slot:%d init_eth0:%d init_frded:%d init_eth3:%d\n",
            static_cast<int>(request->is_modular), static_cast<int>(request->is_ngm), request->slot,
            static_cast<int>(request->init_eth0), static_cast<int>(request->init_frded),
            static_cast<int>(request->init_eth3));

    // Answer ARP only for addresses of the interface that was asked (kernel document ip-sysctl).
    const auto [opened, error] = rd_write_file("/proc/sys/net/ipv4/conf/all/arp_ignore", "1\n");
    if (error != 0) {
        RD_ERROR("failed to %s arp_ignore file %s\n", opened ? "write" : "open", ErrorText(error).c_str());
    }
    set_stable_secret(request->secret_seed_a, request->secret_seed_b);

    const std::pair<bool, const char *> raw_interfaces[] = {{request->init_eth0 != 0, "eth0"},
                                                            {request->init_eth3 != 0, "eth3"},
                                                            {request->init_frded != 0, "eth1"},
                                                            {true, "eth2"}};
    for (const auto &[wanted, name] : raw_interfaces) {
        if (wanted) {
            rd_configure_ipv6(name, kIpv6Off);
        }
    }

    int result = RD_RC_OK;
    if (request->is_modular != 0 && !init_modular(*request, &result)) {
        return RD_RC_ABSENT;
    }
    if (request->init_kx != 0) {
        rd_init_kxmgmt_iface(*request);
    }
    return result;
}
