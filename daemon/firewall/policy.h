#pragma once

#include <q7net/protocol.h>

// RD_CMD_BC_IP_RULES: hands the back channel's IPv4 settings to the platform's policy script.
// Returns RD_RC_OUT_OF_RANGE for a refused option, RD_RC_INVALID for a routing table other than rt2, the validator's
// code for another refused field, with nothing run; else the script's wait status.
int rd_back_channel_ip_rules(BcIpRulesRequest *request);

// RD_CMD_VLAN_PRIORITY: maps all eight packet priorities of the kernel to one 802.1p priority.
// Returns the validator's code for a refused name, RD_RC_OUT_OF_RANGE for a priority above 7, else ip's wait status.
int rd_set_vlan_priority(const VlanPriorityRequest *request);
