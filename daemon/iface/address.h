#pragma once

// Adds an address that never expires, for IPv4 with the broadcast address that its prefix gives.
//   address        IPv4 or IPv6 text
//   prefix_length  as ip(8) judges it; outside 1 to 32 there is no broadcast address
// Returns the wait status of ip.
int rd_chg_static_ip(const char *ifname, const char *address, int prefix_length);

// Takes all global addresses off an interface. Returns the wait status of ip.
int rd_flush_global(const char *ifname);
