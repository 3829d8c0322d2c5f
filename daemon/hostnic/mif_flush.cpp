#include "hostnic/commands.h"

#include "base/line.h"
#include "base/validate.h"
#include "iface/address.h"

int rd_mif_addr_flush(const MifFlushRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid mgmt interface name")) {
        return refused;
    }
    int rc = rd_flush_global(request->ifname);
    if (rc != 0) {
        RD_ERROR("failed to flush addresses on %s rc=%d\n", request->ifname, rc);
    }
    if (request->ipv6_default_route != 0) {
        rc = rd_run<"/sbin/ip -6 route flush default">();
        if (rc != 0) {
            RD_ERROR("failed to flush IPv6 default gateway rc=%d\n", rc);
        }
    }
    return rc;
}
