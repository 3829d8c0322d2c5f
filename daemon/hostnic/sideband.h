// The management side's interfaces: side-band macvlans, reset and flush of the management interface.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_SIDEBAND: adds or deletes macv2 on eth2, macv3 on eth3 and macve0 on usbe0. MAC addresses are not checked,
// only cut to their fields. Returns RD_RC_OK for adding; for deleting the wait status of the last deletion (0 when
// there was none).
int rd_sideband_control(SidebandRequest *request);

// RD_CMD_RESET_MGMT: deletes the management interface and, on request, macsec0, and gives eth3 and eth2 a MAC address.
// Returns RD_RC_ABSENT or the validator's code for a missing or refused field, with nothing changed; else the result of
// the last step, for the MAC addresses both results or-ed.
int rd_reset_mgmt_iface(const ResetMgmtRequest *request);

// RD_CMD_MIF_FLUSH: takes all global addresses off the management interface and, on request, flushes the IPv6 default
// route. Returns the validator's code for a refused name, else the wait status of the last flush.
int rd_mif_addr_flush(const MifFlushRequest *request);
