#pragma once

#include "iface/ipv6.h"

#include <span>

struct BondSettings {
    const char *mac;
    bool active_backup; // mode active-backup with link monitoring (kernel document bonding), else broadcast
    Ipv6Settings ipv6;
};

// Creates a bond, gives it its IPv6 settings, sets it up and enslaves its lower interfaces. What fails is logged and
// the rest still done.
//   lowers  slots of interface names, empty ones are skipped; the first is the primary of an active-backup bond, which
//           gets none when there are no slots
void rd_add_bond(const char *bond, std::span<const char[RD_IFNAME_SIZE]> lowers, const BondSettings &settings);
