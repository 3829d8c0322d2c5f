#include "iface/link_tuning.h"

#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/commands.h"
#include "iface/link.h"

#include <algorithm>
#include <array>

static constexpr std::array<uint32_t, 10> kSpeeds = {10, 100, 1000, 2500, 10000, 20000, 25000, 40000, 50000, 100000};

int rd_link_tuning(const LinkTuningRequest *request)
{
    const char *const ifname = request->ifname;
    if (request->autoneg > RD_AUTONEG_ON || ifname[0] == '\0' ||
        rd_validate_field(rd_validate_words, request->ifname) != 0) {
        return rd_refuse(RD_RC_INVALID, "Invalid arguments");
    }
    // The speed is checked where it is used. A forced speed that no link has would leave the interface dead, while a
    // client that asks for auto-negotiation need not know any speed.
    if (request->autoneg == RD_AUTONEG_OFF &&
        std::find(kSpeeds.begin(), kSpeeds.end(), request->speed) == kSpeeds.end()) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "Invalid nic speed value");
    }
    const auto autoneg = static_cast<int>(request->autoneg);
    const auto speed = static_cast<int>(request->speed);
    RD_INFO("iface:%s autoneg:%d speed:%d duplex:%d\n", ifname, autoneg, speed, static_cast<int>(request->duplex));
    rd_set_link_tuning(ifname, autoneg, speed, request->duplex);
    if (request->link_state != RD_LINK_DOWN) {
        return RD_RC_OK;
    }
    const int rc = rd_set_link_state(ifname, RD_LINK_DOWN);
    if (rc != 0) {
        RD_ERROR("failed to set link state %d for %s rc=%d\n", 0, ifname, rc);
    }
    return rc;
}

void rd_set_link_tuning(const char *ifname, int autoneg, int speed, uint32_t duplex)
{
    if (autoneg == RD_AUTONEG_LEAVE) {
        return;
    }
    int rc = rd_set_link_state(ifname, RD_LINK_UP);
    if (rc != 0) {
        RD_ERROR("unable to set %s link up rc=%d\n", ifname, rc);
    } else {
        rd_wait_for_iface_ready(ifname, 10, "up");
    }
    if (autoneg != RD_AUTONEG_OFF) {
        rc = rd_run<"/usr/sbin/ethtool -s <ifname> autoneg on">(ifname);
    } else {
        char text[7];
        rd_format(text, "%d", speed);
        rc = rd_run<"/usr/sbin/ethtool -s <ifname> autoneg off speed <speed> duplex <duplex>">(
            ifname, text, duplex != RD_DUPLEX_HALF ? "full" : "half");
    }
    RD_INFO("%s autoneg:%d speed:%d duplex:%d rc=%d\n", ifname, autoneg, speed, static_cast<int>(duplex), rc);
}
