#pragma once

#include <q7net/protocol.h>

// RD_CMD_MGMT_RECONFIG: brings the management interface into the shape asked for: rebuilds it as a macvlan or bond with
// or without a VLAN, or reapplies its IPv6 settings, and in any case sets link states, MTU and hop limit and flushes
// the addresses of the interface that carries them. ded and ded2 are checked by their own step only, and mac is not; all
// three are cut to their fields.
// Returns RD_RC_INVALID for a refused name, with nothing changed; else the result of the last link-state step. All
// other failures are logged.
int rd_mgmt_iface_reconfig(MgmtReconfigRequest *request);

// Creates a side-band macvlan with IPv6 switched off; arguments as rd_add_macvlan takes them.
void rd_add_sl_macvlan(const char *name, const char *mac, const char *lower);
