// The USB network function that the controller offers the host server: a configfs gadget with an ECM and an RNDIS
// function, whose two network interfaces are bonded into "usbpt".
#pragma once

#include <q7net/protocol.h>

// RD_CMD_USBNIC: creates the gadget, brings the function up or down, or renews its global IPv6 addresses. An action
// above 3 unbinds the gadget, flushes and sets the addresses, and does no more.
// Returns RD_RC_ABSENT or the validator's code for a missing or refused MAC address, with nothing changed; else the
// result of the last step that has one.
int rd_usbnic_action(UsbnicRequest *request);

// Binds the gadget to the USB device controller (non-zero) or unbinds it (0), and reads back what became of it.
// Returns 0 when the kernel shows what was asked for, else RD_RC_FAILED.
int rd_set_usbnic_driver_state(uint32_t enable);
