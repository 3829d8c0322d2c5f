#pragma once

#include <cstdint>

// Brings the link up, waits for it at most ten seconds, and tunes it with ethtool(8). The outcome is only logged.
//   autoneg  -1 does nothing at all; 0 off, with speed and duplex; any other value on
//   speed    Mb/s
//   duplex   0 half, else full
void rd_set_link_tuning(const char *ifname, int autoneg, int speed, uint32_t duplex);
