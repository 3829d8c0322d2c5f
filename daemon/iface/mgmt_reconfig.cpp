#include "iface/mgmt_reconfig.h"

#include "base/child.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/bond.h"
#include "iface/ipv6.h"
#include "iface/link.h"

#include <array>

static constexpr std::array<const char *, 8> kSetMtu = {"/sbin/ip", "link", "set", "dev", nullptr, "mtu"};
// Without the last three words all addresses go, with them only the static ones.
static constexpr std::array<const char *, 10> kFlushAddresses = {"/sbin/ip", nullptr, "addr",   "flush",    "dev",
                                                                 nullptr,    "scope", "global", "permanent"};
static constexpr uint32_t kHighestVlanId = 4094;

static bool names_are_valid(const MgmtReconfigRequest &request)
{
    bool valid = rd_validate_field(rd_validate_ifname, request.mif) == RD_RC_OK;
    for (const auto &lower : request.lwr) {
        valid = valid && rd_validate_field(rd_validate_words, lower) == RD_RC_OK; // empty ones pass
    }
    return valid;
}

int rd_mgmt_iface_reconfig(MgmtReconfigRequest *request)
{
    if (!names_are_valid(*request)) {
        RD_ERROR("Invalid arguments\n");
        return RD_RC_INVALID;
    }
    rd_cut(request->ded, request->ded2, request->mac);
    const char *const mif = request->mif;
    const int vlan = request->vlan > kHighestVlanId ? 0 : static_cast<int>(request->vlan);
    const auto mif_linkstate = static_cast<int>(request->mif_linkstate);
    const auto ded_linkstate = static_cast<int>(request->ded_linkstate);

    RD_INFO("action:%d macvlan:%d vlan:%d\n", static_cast<int>(request->action), static_cast<int>(request->macvlan),
            vlan);
    RD_INFO("mif:%s ded:%s ded2:%s linkstate mif:%d ded:%d\n", mif, request->ded, request->ded2, mif_linkstate,
            ded_linkstate);
    for (int i = 0; i < 3; i++) {
        RD_INFO("lwr%d:%s\n", i + 1, request->lwr[i]);
    }
    RD_INFO("i6 ena:%d i6 auto:%d hoplimit:%d stabpriv:%d\n", request->i6_ena, request->i6_auto, request->hoplimit,
            request->stabpriv);

    char target[RD_IFNAME_SIZE]; // the interface that carries the addresses
    if (vlan == 0) {
        rd_format(target, "%s", mif);
    } else if (rd_format(target, "%s.%d", mif, vlan) >= RD_IFNAME_SIZE) {
        RD_TRACE("you'll never see this message\n");
    }

    int rc = 0;
    if (request->action == 1) {
        rc = rd_ip_link_delete("delete", mif);
        if (rc != 0) {
            RD_WARN("failed to reset %s rc=%d\n", mif, rc);
        }
        // Below a VLAN, which then has them, the interface itself is without IPv6.
        const int enable = vlan == 0 ? request->i6_ena : 0;
        const int autoconfig = vlan == 0 ? request->i6_auto : 0;
        if (request->macvlan != 0) {
            rd_add_macvlan(mif, nullptr, request->lwr[0]);
            rd_configure_ipv6(request->lwr[0], 0, 0, -1);
            rd_configure_ipv6(mif, enable, autoconfig, request->stabpriv);
        } else {
            rd_add_bond(mif, request->lwr, 3, request->mac, 1, enable, autoconfig, request->stabpriv);
        }
        if (vlan != 0) {
            rc = rd_add_vlan(mif, vlan, request->i6_ena, request->i6_auto, request->stabpriv);
            if (rc != 0) {
                RD_ERROR("Failed to add vlan %d on %s rc=%d\n", vlan, mif, rc);
            }
        }
    }

    if (request->ded[0] != '\0') {
        for (const char *follower : {request->ded, request->ded2}) {
            RD_INFO("set link state for %s to %d\n", follower, ded_linkstate);
            rc = follower[0] != '\0' ? rd_set_link_state(follower, request->ded_linkstate) : 0;
            if (rc != 0) {
                RD_ERROR("failed to set link state %d for %s rc=%d\n", ded_linkstate, follower, rc);
            }
        }
    }

    if (request->action == 0) {
        rd_configure_ipv6(target, request->i6_ena, request->i6_auto, request->stabpriv);
    }

    rc = rd_set_link_state(mif, request->mif_linkstate);
    if (rc != 0) {
        RD_ERROR("unable to mif %s link state=%d rc=%d\n", mif, mif_linkstate, rc);
    }

    char mtu[5];
    rd_format(mtu, "%d", request->mtu);
    auto set_mtu = kSetMtu;
    set_mtu[4] = target;
    set_mtu[6] = mtu;
    rc = rd_exec_cmd(set_mtu.data(), 1, 1);
    if (rc != 0) {
        RD_ERROR("set MTU for %s=%d rc=%d\n", target, request->mtu, rc);
    }

    auto flush = kFlushAddresses;
    flush[1] = "-4";
    flush[5] = target;
    flush[6] = nullptr;
    rc = rd_exec_cmd(flush.data(), 1, 1);
    RD_INFO("flushed static IPv4 addresses on %s rc=%d\n", target, rc);
    flush[1] = "-6";
    flush[6] = request->mif_linkstate != 0 ? kFlushAddresses[6] : nullptr;
    rc = rd_exec_cmd(flush.data(), 1, 1);
    RD_INFO("flushed static IPv6 addresses on %s rc=%d\n", target, rc);

    const int result = rd_set_link_state(target, request->mif_linkstate);
    rd_set_ip6_hoplimit(target, request->hoplimit);
    return result;
}

void rd_add_sl_macvlan(const char *name, const char *mac, const char *lower)
{
    RD_INFO("adding interface %s\n", name);
    rd_add_macvlan(name, mac, lower);
    rd_wait_for_iface_ready(name, 1, nullptr);
    rd_configure_ipv6(name, 0, 0, -1);
}
