// Packets put on a link for clients that may not do so themselves.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_ARPING: starts arping(8) beside the server: three unsolicited ARP packets from an address to its gateway.
// Returns the validator's code for a refused field, -1 when there was no child to be had, else 0 at once.
int rd_send_arping(const ArpingRequest *request);

// RD_CMD_SEND_PACKET: sends the Ethernet frame stored in /etc/lldpd.d/q7NAME.packet, 64 to 1522 bytes of it, out of the
// interface NAME (packet(7)).
// The kernel refuses what is longer than the interface's MTU, the Ethernet header and, if there is one, the VLAN tag.
// Returns the number of bytes sent; RD_RC_NO_NAME or the validator's code for a missing or refused name;
// RD_RC_NO_RESOURCE when the file cannot be read or is too short, or the frame not be sent; -1 for an interface that
// does not exist.
int rd_send_network_packet(const SendPacketRequest *request);
