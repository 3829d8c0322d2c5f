#pragma once

#include <q7net/protocol.h>

// RD_CMD_LINK_TUNING: sets auto-negotiation, speed and duplex, and then leaves the link up or takes it down.
// Returns RD_RC_INVALID for a refused name or auto-negotiation, RD_RC_OUT_OF_RANGE for a refused speed, with nothing
// changed; else the result of taking the link down, 0 when it stays up. What became of the tuning is in the log.
int rd_link_tuning(const LinkTuningRequest *request);

// Brings the link up, waits for it at most ten seconds, and tunes it with ethtool(8). The outcome is only logged.
//   autoneg  -1 does nothing at all; 0 off, with speed and duplex; any other value on
//   speed    Mb/s
//   duplex   0 half, else full
void rd_set_link_tuning(const char *ifname, int autoneg, int speed, uint32_t duplex);
