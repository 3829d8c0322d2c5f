#include "hostnic/commands.h"

#include "base/validate.h"
#include "iface/ipv6.h"
#include "iface/link.h"
#include "iface/link_tuning.h"

// What both commands begin with. Returns 0, or the code that refuses the request.
template <typename Record>
static int prepare(const Record &request, const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    if (rd_check(rd_validate_mac, request.mac, "Invalid mac address", function, line) != 0) {
        return RD_RC_INVALID;
    }
    if (const int refused = rd_check(rd_validate_shell_arg, request.ifname, "invalid interface name", function, line)) {
        return refused;
    }
    rd_configure_ipv6(request.ifname, kIpv6Off);
    const int rc = rd_set_iface_mac(request.ifname, request.mac);
    RD_INFO_OF(function, "set %s hwaddr rc=%d\n", request.ifname, rc);
    return RD_RC_OK;
}

// What both end with. Returns the link-state result.
template <typename Record>
static int set_link(const Record &request, const char *function = __builtin_FUNCTION())
{
    const int rc = rd_set_link_state(request.ifname, request.link_state);
    RD_INFO_OF(function, "set %s link %d rc=%d\n", request.ifname, static_cast<int>(request.link_state), rc);
    return rc;
}

int rd_init_frontdedicated(const InitFrontdedicatedRequest *request)
{
    if (const int refused = prepare(*request)) {
        return refused;
    }
    rd_set_link_tuning(request->ifname, request->autoneg, request->speed, request->duplex);
    return set_link(*request);
}

int rd_init_flop_usb_nic(const InitFlopUsbNicRequest *request)
{
    if (const int refused = prepare(*request)) {
        return refused;
    }
    return set_link(*request);
}
