#include "hostnic/commands.h"

#include "base/validate.h"
#include "iface/link.h"

int rd_reset_mgmt_iface(const ResetMgmtRequest *request)
{
    if (request->set_mac != 0) {
        if (request->mac[0] == '\0') {
            return rd_refuse(RD_RC_ABSENT, "missing mac addresses");
        }
        if (const int refused = rd_check(rd_validate_mac, request->mac, "Invalid mac address")) {
            return refused;
        }
    }
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid interface name")) {
        return refused;
    }

    RD_INFO("deleting interface %s\n", request->ifname);
    int rc = rd_ip_link_delete("del", request->ifname);
    if (rc != 0) {
        RD_WARN("failed to reset %s rc=%d\n", request->ifname, rc);
    }
    if (request->macsec != 0) {
        RD_INFO("deleting macsec interface\n");
        rc = rd_ip_link_delete("del", "macsec0");
        if (rc != 0) {
            RD_WARN("failed to reset macsec interface rc=%d\n", rc);
        }
    }
    if (request->set_mac != 0) {
        rc = rd_set_iface_mac("eth3", request->mac);
        rc |= rd_set_iface_mac("eth2", request->mac);
    }
    return rc;
}
