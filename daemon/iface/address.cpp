#include "iface/address.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"

#include <array>
#include <cstring>

#include <arpa/inet.h>
#include <unistd.h>

static constexpr std::array<const char *, 13> kAddAddress = {"/sbin/ip",      "addr",    "add",       nullptr,
                                                             "dev",           nullptr,   "valid_lft", "forever",
                                                             "preferred_lft", "forever", "broadcast", nullptr};
static constexpr std::array<const char *, 7> kDeleteAddress = {"/sbin/ip", "addr", "del", nullptr, "dev"};
static constexpr std::array<const char *, 8> kProbe = {"/bin/arping", "-D", "-c", "1", "-I"};
static constexpr const char *kConflictMarker = "/run/q7net/dhcp/ipv4_dad_conflict";

// Works out the broadcast address of an IPv4 address. Returns whether there is one.
static bool rd_get_broadcast_addr(const char *address, int prefix_length, char (&broadcast)[INET_ADDRSTRLEN])
{
    in_addr binary{};
    if (prefix_length < 1 || prefix_length > 32 || strchr(address, ':') != nullptr ||
        inet_pton(AF_INET, address, &binary) != 1) {
        return false;
    }
    const uint32_t host_mask = prefix_length == 32 ? 0 : UINT32_MAX >> prefix_length;
    binary.s_addr |= htonl(host_mask);
    if (inet_ntop(AF_INET, &binary, broadcast, sizeof broadcast) == nullptr) {
        return false;
    }
    RD_INFO("addr=%s, broadcast=%s\n", address, broadcast);
    return true;
}

int rd_chg_static_ip(const char *ifname, const char *address, int prefix_length)
{
    char with_prefix[50];
    char broadcast[INET_ADDRSTRLEN];
    rd_format(with_prefix, "%s/%d", address, prefix_length);
    auto argv = kAddAddress;
    argv[3] = with_prefix;
    argv[5] = ifname;
    if (rd_get_broadcast_addr(address, prefix_length, broadcast)) {
        argv[11] = broadcast;
    } else {
        argv[10] = nullptr;
    }
    const int rc = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("%s %s ip %s/%d rc=%d\n", ifname, argv[2], address, prefix_length, rc);
    return rc;
}

int rd_ipv4_dad_start(const Ipv4DadRequest *request)
{
    int refused = rd_validate_field(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid mgmt interface name. rc=%d\n", refused);
        return refused;
    }
    if (request->ipaddr[0] != '\0') {
        refused = rd_validate_field(rd_validate_ipv4, request->ipaddr);
        if (refused != 0) {
            RD_ERROR("Invalid IP Address\n");
            return refused;
        }
    }
    if (request->prefix_len > 32) {
        RD_ERROR("Invalid netmask\n");
        return RD_RC_OUT_OF_RANGE;
    }

    auto probe = kProbe;
    probe[5] = request->ifname;
    probe[6] = request->ipaddr;
    if (rd_exec_cmd(probe.data(), 1, 1) == 0) {
        RD_INFO("IPv4 static DAD OK\n");
        unlink(kConflictMarker);
        return RD_RC_OK;
    }

    char with_prefix[19];
    rd_format(with_prefix, "%s/%d", request->ipaddr, static_cast<int>(request->prefix_len));
    RD_ERROR("IPv4 duplicate address detected on %s: %s\n", request->ifname, with_prefix);
    auto removal = kDeleteAddress;
    removal[3] = with_prefix;
    removal[5] = request->ifname;
    const int rc = rd_exec_cmd(removal.data(), 1, 1);
    char marker[64];
    rd_format(marker, "IPv4DAD_CONFLICT=%s", request->ipaddr);
    rd_write_file(kConflictMarker, marker); // the log already tells of the conflict
    return rc;
}
