#include "hostnic/commands.h"

#include "base/log.h"
#include "base/text.h"
#include "iface/link.h"

// Creates a side-band macvlan with IPv6 switched off; arguments as rd_add_macvlan takes them.
static void rd_add_sl_macvlan(const char *name, const char *mac, const char *lower)
{
    RD_INFO("adding interface %s\n", name);
    rd_add_macvlan(name, mac, lower);
    rd_wait_for_iface_ready(name, 1, nullptr);
    rd_configure_ipv6(name, kIpv6Off);
}

int rd_sideband_control(SidebandRequest *request)
{
    rd_cut(request->macv2_mac, request->macv3_mac);
    const struct {
        uint32_t wanted;
        const char *name;
        const char *mac;
        const char *lower;
    } sidebands[] = {
        {request->macv2, "macv2", request->macv2_mac, "eth2"},
        {request->macv3, "macv3", request->macv3_mac, "eth3"},
        {request->macve0, "macve0", nullptr, "usbe0"},
    };
    int rc = RD_RC_OK;
    for (const auto &sideband : sidebands) {
        if (sideband.wanted == 0) {
            continue;
        }
        if (request->operation == RD_SIDEBAND_ADD) {
            rd_add_sl_macvlan(sideband.name, sideband.mac, sideband.lower);
        } else {
            rc = rd_del_sl_macvlan(sideband.name);
        }
    }
    return rc;
}
