#pragma once

#include <q7net/protocol.h>

// RD_CMD_FIREWALL: applies or removes one of the five rule sets: USB NAT by ourselves, the others by the platform's
// firewall script. Returns RD_RC_OUT_OF_RANGE for an unknown operation, RD_RC_FAILED for an unknown rule set, else what
// the one or the other gave.
int rd_firewall_control(FirewallRequest *request);

// Runs the firewall script, and waits for it.
//   action    1 apply, 0 remove, -1 leave as it is
//   ruleset   name of the rule set
//   ifname    passed to the script, or null
//   argument  four texts passed to the script when there is no ifname, or null
// Returns 0 once the script has run, however it ended (the log tells); RD_RC_BAD_ACTION for any other action; the code
// of rd_validate_ifname for a refused name.
int rd_fw_control(int action, const char *ruleset, const char (*ifname)[RD_IFNAME_SIZE],
                  const char (*argument)[RD_MAC_SIZE]);

// Switches IPv4 forwarding and the rules through which the host server's USB network reaches the management network:
// 1 on, 0 off. Returns 0, or the wait status of the last iptables that failed to change a rule.
int rd_usb_nat_fw_control(uint32_t operation);
