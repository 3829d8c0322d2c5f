#include "iface/address.h"

#include "base/line.h"
#include "base/log.h"
#include "base/text.h"

#include <cstdint>
#include <cstring>

#include <arpa/inet.h>

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
    int rc = 0;
    rd_format(with_prefix, "%s/%d", address, prefix_length);
    if (rd_get_broadcast_addr(address, prefix_length, broadcast)) {
        rc = rd_run<
            "/sbin/ip addr add <address> dev <ifname> valid_lft forever preferred_lft forever broadcast <address>">(
            with_prefix, ifname, broadcast);
    } else {
        rc = rd_run<"/sbin/ip addr add <address> dev <ifname> valid_lft forever preferred_lft forever">(with_prefix,
                                                                                                        ifname);
    }
    RD_INFO("%s add ip %s/%d rc=%d\n", ifname, address, prefix_length, rc);
    return rc;
}

int rd_flush_global(const char *ifname)
{
    return rd_run<"/sbin/ip addr flush dev <ifname> scope global">(ifname);
}
