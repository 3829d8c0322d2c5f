#include "iface/commands.h"

#include "base/line.h"
#include "base/log.h"
#include "base/text.h"
#include "iface/address.h"
#include "iface/ipv6.h"

#include <cstring>

#include <arpa/inet.h>

static int run_route(const char *action, const char *destination, const char *via, const char *ifname)
{
    return rd_run<"/sbin/ip route <action> <destination> via <router> dev <ifname> proto static onlink">(
        action, destination, via, ifname);
}

static void rd_chg_static_gw(const StaticAddrsRequest &request)
{
    if (request.ipv6 != 0) {
        const int rc = rd_run<"/sbin/ip -6 route flush proto static">();
        RD_INFO("ipv6 route flush proto static rc=%d\n", rc);
    }
    const char *action = request.ipv6 != 0 ? "append" : "replace";
    const int rc = run_route(action, "default", request.gateway, request.ifname);
    RD_INFO("ip route %s default via %s dev %s onlink rc=%d\n", action, request.gateway, request.ifname, rc);
    if (rc != 0) {
        RD_TRACE("changing static IP rc=%d\n", rc);
    }
}

static void rd_ip6_static_route(const StaticAddrsRequest &request)
{
    for (const StaticRouteEntry &entry : request.route) {
        if (entry.router[0] != '\0') {
            char destination[50];
            rd_format(destination, "%s/%d", entry.prefix, entry.prefix_len);
            const int rc = run_route("append", destination, entry.router, request.ifname);
            RD_INFO("route append %s via %s dev %s rc=%d\n", destination, entry.router, request.ifname, rc);
        }
    }
}

static void rd_update_neighbor_cache(const StaticAddrsRequest &request)
{
    int rc = rd_run_loud<"/sbin/ip neigh flush nud perm">();
    RD_INFO("neighbor cache flush rc=%d\n", rc);
    for (const StaticRouteEntry &entry : request.route) {
        in6_addr binary;
        if (inet_pton(AF_INET6, entry.router, &binary) == 1) {
            rc = rd_run_loud<"/sbin/ip neigh replace <router> lladdr <mac> nud perm dev <ifname>">(
                entry.router, entry.lladdr, request.ifname);
            RD_INFO("update %s %s rc=%d\n", entry.router, request.ifname, rc);
        }
    }
}

// Returns whether to go on with the address: not when the probe refused it, or could not remove one in conflict.
static bool rd_probe_address(const StaticAddrsRequest &request)
{
    Ipv4DadRequest probe{};
    rd_format(probe.ifname, "%s", request.ifname);
    rd_format(probe.ipaddr, "%s", request.address);
    probe.prefix_len = static_cast<uint32_t>(request.prefix_len);
    return rd_ipv4_dad_start(&probe) == 0;
}

int rd_apply_static_addrs(StaticAddrsRequest *request)
{
    rd_cut(request->ifname, request->address, request->gateway);
    for (StaticRouteEntry &entry : request->route) {
        rd_cut(entry.lladdr, entry.router, entry.prefix);
    }

    RD_INFO("\n");
    if (request->autoconfig_only != 0) {
        rd_configure_ipv6(
            request->ifname,
            {.enable = 1, .autoconfig = static_cast<int>(request->autoconfig), .mode = RD_ADDRESS_GENERATION_LEAVE});
        return RD_RC_OK;
    }

    bool usable = true;
    if (request->address[0] != '\0') {
        if (request->dad != 0 && request->ipv6 == 0) {
            if (strlen(request->address) >= RD_IPV4_SIZE) {
                RD_ERROR("ipv4 address truncated: %s\n", request->address);
            }
            usable = rd_probe_address(*request);
        }
        if (usable) {
            const int rc = rd_chg_static_ip(request->ifname, request->address, request->prefix_len);
            if (rc != 0) {
                RD_TRACE("changing static IP rc=%d\n", rc);
            }
        }
    }
    if (usable && request->gateway[0] != '\0') {
        rd_chg_static_gw(*request);
    }
    if (request->ipv6 != 0) {
        rd_ip6_static_route(*request);
        rd_update_neighbor_cache(*request);
    }
    return RD_RC_OK;
}
