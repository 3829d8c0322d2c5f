#include "firewall/commands.h"

#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"

static constexpr int kPriorities = 8;

int rd_set_vlan_priority(const VlanPriorityRequest *request)
{
    RD_INFO("\n");
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid mgmt interface name")) {
        return refused;
    }
    const auto priority = static_cast<int>(request->priority);
    if (request->priority >= kPriorities) {
        RD_ERROR("Invalid vlan priority:%d\n", priority);
        return RD_RC_OUT_OF_RANGE;
    }
    char map[kPriorities][4];
    for (int i = 0; i < kPriorities; i++) {
        rd_format(map[i], "%d:%d", i, priority);
    }
    return rd_run<"/sbin/ip link set dev <ifname> type vlan egress-qos-map <0> <1> <2> <3> <4> <5> <6> <7>">(
        request->ifname, map[0], map[1], map[2], map[3], map[4], map[5], map[6], map[7]);
}
