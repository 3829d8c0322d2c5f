#include "iface/commands.h"

#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/bond.h"
#include "iface/link.h"

static constexpr uint32_t kHighestVlanId = 4094;

static bool names_are_valid(const MgmtReconfigRequest &request)
{
    bool valid = rd_validate_field(rd_validate_ifname, request.mif) == RD_RC_OK;
    for (const auto &lower : request.lwr) {
        valid = valid && rd_validate_field(rd_validate_words, lower) == RD_RC_OK; // empty ones pass
    }
    return valid;
}

static void tell(const MgmtReconfigRequest &request, int vlan, const char *function = __builtin_FUNCTION())
{
    RD_INFO_OF(function, "action:%d macvlan:%d vlan:%d\n", static_cast<int>(request.action),
               static_cast<int>(request.macvlan), vlan);
    RD_INFO_OF(function, "mif:%s ded:%s ded2:%s linkstate mif:%d ded:%d\n", request.mif, request.ded, request.ded2,
               static_cast<int>(request.mif_linkstate), static_cast<int>(request.ded_linkstate));
    for (int i = 0; i < 3; i++) {
        RD_INFO_OF(function, "lwr%d:%s\n", i + 1, request.lwr[i]);
    }
    RD_INFO_OF(function, "i6 ena:%d i6 auto:%d hoplimit:%d stabpriv:%d\n", request.i6_ena, request.i6_auto,
               request.hoplimit, request.stabpriv);
}

// Deletes the management interface and makes it anew, with the VLAN on top of it unless that is 0.
static void rebuild(const MgmtReconfigRequest &request, int vlan, const Ipv6Settings &ipv6,
                    const char *function = __builtin_FUNCTION())
{
    const char *const mif = request.mif;
    int rc = rd_ip_link_delete("delete", mif);
    if (rc != 0) {
        RD_WARN_OF(function, "failed to reset %s rc=%d\n", mif, rc);
    }
    Ipv6Settings own = ipv6;
    if (vlan != 0) { // which then has them: the interface itself is without IPv6
        own.enable = own.autoconfig = 0;
    }
    if (request.macvlan != 0) {
        rd_add_macvlan(mif, nullptr, request.lwr[0]);
        rd_configure_ipv6(request.lwr[0], kIpv6Off);
        rd_configure_ipv6(mif, own);
    } else {
        rd_add_bond(mif, request.lwr, {.mac = request.mac, .active_backup = true, .ipv6 = own});
    }
    if (vlan != 0) {
        rc = rd_add_vlan(mif, vlan, ipv6);
        if (rc != 0) {
            RD_ERROR_OF(function, "Failed to add vlan %d on %s rc=%d\n", vlan, mif, rc);
        }
    }
}

// Brings the dedicated ports into the link state that they shall have.
static void set_dedicated_links(const MgmtReconfigRequest &request, const char *function = __builtin_FUNCTION())
{
    const auto state = static_cast<int>(request.ded_linkstate);
    for (const char *port : {request.ded, request.ded2}) {
        RD_INFO_OF(function, "set link state for %s to %d\n", port, state);
        const int rc = port[0] != '\0' ? rd_set_link_state(port, request.ded_linkstate) : 0;
        if (rc != 0) {
            RD_ERROR_OF(function, "failed to set link state %d for %s rc=%d\n", state, port, rc);
        }
    }
}

// All addresses go; with the link up only the static ones of IPv6, and the interface keeps those from routers.
static void flush_static_addresses(const char *ifname, bool link_up, const char *function = __builtin_FUNCTION())
{
    int rc = rd_run<"/sbin/ip -4 addr flush dev <ifname>">(ifname);
    RD_INFO_OF(function, "flushed static IPv4 addresses on %s rc=%d\n", ifname, rc);
    rc = link_up ? rd_run<"/sbin/ip -6 addr flush dev <ifname> scope global permanent">(ifname)
                 : rd_run<"/sbin/ip -6 addr flush dev <ifname>">(ifname);
    RD_INFO_OF(function, "flushed static IPv6 addresses on %s rc=%d\n", ifname, rc);
}

int rd_mgmt_iface_reconfig(MgmtReconfigRequest *request)
{
    if (!names_are_valid(*request)) {
        return rd_refuse(RD_RC_INVALID, "Invalid arguments");
    }
    rd_cut(request->ded, request->ded2, request->mac);
    const char *const mif = request->mif;
    const int vlan = request->vlan > kHighestVlanId ? 0 : static_cast<int>(request->vlan);
    const Ipv6Settings ipv6{.enable = request->i6_ena, .autoconfig = request->i6_auto, .mode = request->stabpriv};
    tell(*request, vlan);

    char target[RD_IFNAME_SIZE]; // the interface that carries the addresses
    if (vlan == 0) {
        rd_format(target, "%s", mif);
    } else if (rd_format(target, "%s.%d", mif, vlan) >= RD_IFNAME_SIZE) {
        RD_TRACE("you'll never see this message\n");
    }

    if (request->action == RD_MGMT_REBUILD) {
        rebuild(*request, vlan, ipv6);
    }
    if (request->ded[0] != '\0') {
        set_dedicated_links(*request);
    }
    if (request->action == RD_MGMT_REAPPLY) {
        rd_configure_ipv6(target, ipv6);
    }
    int rc = rd_set_link_state(mif, request->mif_linkstate);
    if (rc != 0) {
        RD_ERROR("unable to mif %s link state=%d rc=%d\n", mif, static_cast<int>(request->mif_linkstate), rc);
    }
    char mtu[5];
    rd_format(mtu, "%d", request->mtu);
    rc = rd_run<"/sbin/ip link set dev <ifname> mtu <mtu>">(target, mtu);
    if (rc != 0) {
        RD_ERROR("set MTU for %s=%d rc=%d\n", target, request->mtu, rc);
    }
    flush_static_addresses(target, request->mif_linkstate != RD_LINK_DOWN);
    const int result = rd_set_link_state(target, request->mif_linkstate);
    rd_set_ip6_hoplimit(target, request->hoplimit);
    return result;
}
