#pragma once

#include <q7net/protocol.h>

// RD_CMD_INIT_IFACES: sets the system's ARP behaviour and the IPv6 stable secret, switches IPv6 off on the raw physical
// interfaces, builds the internal VLANs of a modular system, and on request sets up the KX management interface.
// Returns RD_RC_ABSENT when a modular system's macaddress or slot is missing (after the steps before), else the result
// of a modular system's last address step, else 0. The KX management interface never changes the result.
int rd_init_interfaces(InitIfacesRequest *request);
