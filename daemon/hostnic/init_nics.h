// Interfaces through which the controller reaches hardware on the server's side.
#pragma once

#include <q7net/protocol.h>

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
