#pragma once

#include <q7net/protocol.h>

// Creates a bond, gives it its IPv6 settings, sets it up and enslaves its lower interfaces. What fails is logged and
// the rest still done.
//   lowers         slots of interface names, empty ones are skipped; the first is the primary of an active-backup bond
//   count          of slots; with none, an active-backup bond gets no primary
//   active_backup  non-zero: mode active-backup with link monitoring (kernel document bonding); 0: mode broadcast
//   enable, autoconfig, mode  as rd_configure_ipv6 takes them
void rd_add_bond(const char *bond, const char (*lowers)[RD_IFNAME_SIZE], int count, const char *mac, int active_backup,
                 int enable, int autoconfig, int mode);

// RD_CMD_CONJOIN: enslaves up to three more interfaces to a bond and makes the first its primary and active one.
// Returns the code of rd_validate_ifname for a refused name, with nothing changed; RD_RC_NO_RESOURCE when a file of the
// bond cannot be opened; else the wait status of the last ifenslave (0 when there was none to run).
int rd_mgmt_iface_conjoin_in_an_inclusive_fashion(const ConjoinRequest *request);
