// Commands of firewall and routing policy.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_FIREWALL: applies or removes one of the five rule sets: USB NAT by ourselves, the others by the platform's
// firewall script. Returns RD_RC_OUT_OF_RANGE for an unknown operation, RD_RC_FAILED for an unknown rule set, else what
// the one or the other gave.
int rd_firewall_control(FirewallRequest *request);

// RD_CMD_SLBC: sets the back channel up or tears it down: a locked-down link on which the controller has an address by
// DHCP and speaks only HTTPS, or, with a proxy, only TCP with that proxy. Tearing down must name the interface, proxy and
// topology_lldp of the set-up, for only the rules that these select are deleted.
// Returns the validator's code for a refused field, or RD_RC_OUT_OF_RANGE for a topology_lldp above 2147483647, with
// nothing changed; when a rule could not be added, that result, with no DHCP client started; else 0.
int rd_slbc_control(const SlbcRequest *request);

// RD_CMD_BC_IP_RULES: hands the back channel's IPv4 settings to the platform's policy script.
// Returns RD_RC_OUT_OF_RANGE for a refused option, RD_RC_INVALID for a routing table other than rt2, the validator's
// code for another refused field, with nothing run; else the script's wait status.
int rd_back_channel_ip_rules(BcIpRulesRequest *request);

// RD_CMD_VLAN_PRIORITY: maps all eight packet priorities of the kernel to one 802.1p priority.
// Returns the validator's code for a refused name, RD_RC_OUT_OF_RANGE for a priority above 7, else ip's wait status.
int rd_set_vlan_priority(const VlanPriorityRequest *request);
