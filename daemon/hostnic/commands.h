// Commands on the interfaces that the host server or a card of it sees, and on those that carry the management side.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_USBNIC: creates the gadget, brings the function up or down, or renews its global IPv6 addresses. An action
// above 3 unbinds the gadget, flushes and sets the addresses, and does no more. The function is a configfs gadget with an
// ECM and an RNDIS function, whose two network interfaces are bonded into "usbpt".
// Returns RD_RC_ABSENT or the validator's code for a missing or refused MAC address, with nothing changed; else the
// result of the last step that has one.
int rd_usbnic_action(UsbnicRequest *request);

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

// RD_CMD_INIT_SMARTNIC: sets up or tears down the smart-NIC layout: the management interface as a macvlan on the
// physical one and, in set-up mode, up to four more, sd0 to sd3, each with an IPv6 address of its own.
// Returns RD_RC_OUT_OF_RANGE, RD_RC_INVALID or the validator's code for a refused field, with nothing changed; else the
// result of the last smart-NIC's address, or of setting the physical interface's MAC address when there was none.
int rd_init_smartnic(const InitSmartnicRequest *request);

// RD_CMD_INIT_FRONTDEDICATED: IPv6 off, MAC address, link tuning and link state of the front dedicated port.
// Returns RD_RC_INVALID for a refused MAC address, the validator's code for a refused name, else the link-state result.
int rd_init_frontdedicated(const InitFrontdedicatedRequest *request);

// RD_CMD_INIT_FLOP_USB_NIC: the same for a USB NIC, without link tuning.
int rd_init_flop_usb_nic(const InitFlopUsbNicRequest *request);
