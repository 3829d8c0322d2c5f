#pragma once

#include <q7net/protocol.h>

// Adds an address that never expires, for IPv4 with the broadcast address that its prefix gives.
//   address        IPv4 or IPv6 text
//   prefix_length  as ip(8) judges it; outside 1 to 32 there is no broadcast address
// Returns the wait status of ip.
int rd_chg_static_ip(const char *ifname, const char *address, int prefix_length);

// RD_CMD_IPV4_DAD: asks the network for another holder of an IPv4 address (RFC 5227). When one answers, or the probe
// itself fails, the address is taken off the interface and then the marker /run/q7net/dhcp/ipv4_dad_conflict written,
// so that who finds the marker finds the address gone; when none answers the marker is deleted. Returns the validator's
// code for a refused name or address (an empty address is not looked at), RD_RC_OUT_OF_RANGE for a prefix length above
// 32, 0 without a conflict, else the wait status of the removal.
int rd_ipv4_dad_start(const Ipv4DadRequest *request);
