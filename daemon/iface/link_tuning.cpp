#include "iface/link_tuning.h"

#include "base/child.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/link.h"

#include <algorithm>
#include <array>

static constexpr std::array<const char *, 10> kEthtool = {
    "/usr/sbin/ethtool", "-s", nullptr, "autoneg", nullptr, "speed", nullptr, "duplex"};
static constexpr std::array<uint32_t, 10> kSpeeds = {10, 100, 1000, 2500, 10000, 20000, 25000, 40000, 50000, 100000};

int rd_link_tuning(const LinkTuningRequest *request)
{
    const char *const ifname = request->ifname;
    if (request->autoneg > 1 || ifname[0] == '\0' || rd_validate_field(rd_validate_words, request->ifname) != 0) {
        RD_ERROR("Invalid arguments\n");
        return RD_RC_INVALID;
    }
    // The speed is checked where it is used. A forced speed that no link has would leave the interface dead, while a
    // client that asks for auto-negotiation need not know any speed.
    if (request->autoneg == 0 && std::find(kSpeeds.begin(), kSpeeds.end(), request->speed) == kSpeeds.end()) {
        RD_ERROR("Invalid nic speed value\n");
        return RD_RC_OUT_OF_RANGE;
    }
    const auto autoneg = static_cast<int>(request->autoneg);
    const auto speed = static_cast<int>(request->speed);
    RD_INFO("iface:%s autoneg:%d speed:%d duplex:%d\n", ifname, autoneg, speed, static_cast<int>(request->duplex));
    rd_set_link_tuning(ifname, autoneg, speed, request->duplex);
    if (request->link_state != 0) {
        return RD_RC_OK;
    }
    const int rc = rd_set_link_state(ifname, 0);
    if (rc != 0) {
        RD_ERROR("failed to set link state %d for %s rc=%d\n", 0, ifname, rc);
    }
    return rc;
}

void rd_set_link_tuning(const char *ifname, int autoneg, int speed, uint32_t duplex)
{
    if (autoneg == -1) {
        return;
    }
    char speed_text[7];
    rd_format(speed_text, "%d", speed);
    auto argv = kEthtool;
    argv[2] = ifname;
    if (autoneg != 0) {
        argv[4] = "on";
        argv[5] = nullptr;
    } else {
        argv[4] = "off";
        argv[6] = speed_text;
        argv[8] = duplex != 0 ? "full" : "half";
    }

    int rc = rd_set_link_state(ifname, 1);
    if (rc != 0) {
        RD_ERROR("unable to set %s link up rc=%d\n", ifname, rc);
    } else {
        rd_wait_for_iface_ready(ifname, 10, "up");
    }
    rc = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("%s autoneg:%d speed:%d duplex:%d rc=%d\n", ifname, autoneg, speed, static_cast<int>(duplex), rc);
}
