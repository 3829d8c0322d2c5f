#include "iface/commands.h"

#include "base/file.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"

#include <unistd.h>

static constexpr const char *kConflictMarker = "/run/q7net/dhcp/ipv4_dad_conflict";

int rd_ipv4_dad_start(const Ipv4DadRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid mgmt interface name. rc=")) {
        return refused;
    }
    if (request->ipaddr[0] != '\0') {
        if (const int refused = rd_check(rd_validate_ipv4, request->ipaddr, "Invalid IP Address")) {
            return refused;
        }
    }
    if (request->prefix_len > 32) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "Invalid netmask");
    }

    if (rd_run<"/bin/arping -D -c 1 -I <ifname> <address>">(request->ifname, request->ipaddr) == 0) {
        RD_INFO("IPv4 static DAD OK\n");
        unlink(kConflictMarker);
        return RD_RC_OK;
    }

    char with_prefix[19];
    rd_format(with_prefix, "%s/%d", request->ipaddr, static_cast<int>(request->prefix_len));
    RD_ERROR("IPv4 duplicate address detected on %s: %s\n", request->ifname, with_prefix);
    const int rc = rd_run<"/sbin/ip addr del <address> dev <ifname>">(with_prefix, request->ifname);
    char marker[64];
    rd_format(marker, "IPv4DAD_CONFLICT=%s", request->ipaddr);
    rd_write_file(kConflictMarker, marker); // the log already tells of the conflict
    return rc;
}
