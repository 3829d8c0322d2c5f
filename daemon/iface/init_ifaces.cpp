#define OPENSSL_API_COMPAT 0x10100000L // for MD5(), which serves no security here

#include "iface/init_ifaces.h"

#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/address.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "system/service.h"

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
    static char secret[46];
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
    int rc = rd_set_link_state(ifname, 0);
    RD_INFO("set %s down rc=%d\n", ifname, rc);
    rc = rd_ip_link_set_mac(ifname, mac);
    if (rc != 0) {
        RD_ERROR("failed to set %s mac %s rc=%d\n", ifname, mac, rc);
    }
    rc = rd_set_link_state(ifname, 1);
    RD_INFO("set %s up rc=%d\n", ifname, rc);
    rd_wait_for_iface_ready(ifname, 10, "up");
    rd_kx_dhcp_ctrl(1, 1);
}

int rd_init_interfaces(InitIfacesRequest *request)
{
    rd_cut(request->secret_seed_a, request->secret_seed_b);
    const auto is_ngm = static_cast<int>(request->is_ngm);
    RD_INFO("is_modular:%d is_ngm:%d slot:%d init_eth0:%d init_frded:%d init_eth3:%d\n",
            static_cast<int>(request->is_modular), is_ngm, request->slot, static_cast<int>(request->init_eth0),
            static_cast<int>(request->init_frded), static_cast<int>(request->init_eth3));

    // Answer ARP only for addresses of the interface that was asked (kernel document ip-sysctl).
    const auto [opened, error] = rd_write_file("/proc/sys/net/ipv4/conf/all/arp_ignore", "1\n");
    if (!opened) {
        RD_ERROR("failed to open arp_ignore file %s\n", ErrorText(error).c_str());
    } else if (error != 0) {
        RD_ERROR("failed to write arp_ignore file %s\n", ErrorText(error).c_str());
    }
    set_stable_secret(request->secret_seed_a, request->secret_seed_b);

    if (request->init_eth0 != 0) {
        rd_configure_ipv6("eth0", 0, 0, -1);
    }
    if (request->init_eth3 != 0) {
        rd_configure_ipv6("eth3", 0, 0, -1);
    }
    if (request->init_frded != 0) {
        rd_configure_ipv6("eth1", 0, 0, -1);
    }
    rd_configure_ipv6("eth2", 0, 0, -1);

    int result = RD_RC_OK;
    if (request->is_modular != 0) {
        const char *const internal = is_ngm != 0 ? "eth0" : "eth3";
        int rc = rd_set_link_state(internal, 1);
        RD_INFO("set %s up rc=%d\n", internal, rc);
        rd_wait_for_iface_ready(internal, 10, "up");
        if (request->macaddress[0] == '\0') {
            RD_ERROR("missing macaddress\n");
            return RD_RC_ABSENT;
        }
        if (is_ngm == 0 && (request->slot == 0 || request->slot == 255)) {
            RD_ERROR("missing slot_number\n");
            return RD_RC_ABSENT;
        }

        rc = rd_add_vlan(internal, kInternalVlan, is_ngm, is_ngm, 0);
        if (rc != 0) {
            RD_ERROR("adding vlan %d rc=%d\n", kInternalVlan, rc);
        }
        if (is_ngm != 0) {
            result = rd_add_vlan(internal, kSecondInternalVlan, 1, 1, 0);
            if (result != 0) {
                RD_ERROR("adding vlan %d rc=%d\n", kSecondInternalVlan, result);
            }
        } else {
            char vlan[RD_IFNAME_SIZE];
            char address[19];
            rd_format(vlan, "%s.%d", internal, kInternalVlan);
            rd_format(address, "%s.%u", "169.254.31", request->slot);
            result = rd_chg_static_ip(vlan, address, kSlotPrefixLength);
            if (result != 0) {
                RD_ERROR("Failed to add static IP %s on %s rc=%d\n", address, vlan, result);
            }
        }
    }

    if (request->init_kx != 0) {
        rd_init_kxmgmt_iface(*request);
    }
    return result;
}
