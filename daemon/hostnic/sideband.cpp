#include "hostnic/sideband.h"

#include "base/child.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/link.h"
#include "iface/mgmt_reconfig.h"

#include <array>

static constexpr std::array<const char *, 8> kFlushGlobal = {"/sbin/ip", "addr",  "flush", "dev",
                                                             nullptr,    "scope", "global"};
static constexpr std::array<const char *, 6> kFlushIpv6Default = {"/sbin/ip", "-6", "route", "flush", "default"};

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
        if (request->operation == 1) {
            rd_add_sl_macvlan(sideband.name, sideband.mac, sideband.lower);
        } else {
            rc = rd_del_sl_macvlan(sideband.name);
        }
    }
    return rc;
}

int rd_reset_mgmt_iface(const ResetMgmtRequest *request)
{
    if (request->set_mac != 0) {
        if (request->mac[0] == '\0') {
            RD_ERROR("missing mac addresses\n");
            return RD_RC_ABSENT;
        }
        const int refused = rd_validate_field(rd_validate_mac, request->mac);
        if (refused != 0) {
            RD_ERROR("Invalid mac address\n");
            return refused;
        }
    }
    const int refused = rd_validate_field(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid interface name\n");
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

int rd_mif_addr_flush(const MifFlushRequest *request)
{
    const int refused = rd_validate_field(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid mgmt interface name\n");
        return refused;
    }
    auto argv = kFlushGlobal;
    argv[4] = request->ifname;
    int rc = rd_exec_cmd(argv.data(), 1, 1);
    if (rc != 0) {
        RD_ERROR("failed to flush addresses on %s rc=%d\n", request->ifname, rc);
    }
    if (request->ipv6_default_route != 0) {
        rc = rd_exec_cmd(kFlushIpv6Default.data(), 1, 1);
        if (rc != 0) {
            RD_ERROR("failed to flush IPv6 default gateway rc=%d\n", rc);
        }
    }
    return rc;
}
