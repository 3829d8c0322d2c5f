// The back channel: a locked-down link on which the controller has an address by DHCP and speaks only HTTPS, or, with a
// proxy, only TCP with that proxy.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_SLBC: sets the back channel up or tears it down. Tearing down must name the interface, proxy and topology_lldp
// of the set-up, for only the rules that these select are deleted.
// Returns the validator's code for a refused field, or RD_RC_OUT_OF_RANGE for a topology_lldp above 2147483647, with
// nothing changed; when a rule could not be added, that result, with no DHCP client started; else 0.
int rd_slbc_control(const SlbcRequest *request);

// Adds (1) or deletes (any other value of apply) the back channel's firewall rules.
//   topology_lldp  0 all rules, 1 without the final DROP rules, 2 and more fewer still
//   proxy          IPv4 text, or empty
// Returns 0, or the wait status of the last iptables that failed to change a rule.
int rd_back_channel_firewall(uint32_t apply, uint32_t topology_lldp, const char *ifname, const char *proxy);
