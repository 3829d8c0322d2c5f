#pragma once

#include <q7net/protocol.h>

// Runs the firewall script, and waits for it.
//   action    a FirewallOperation; -1 leaves it as it is
//   ruleset   name of the rule set
//   ifname    passed to the script, or null
//   argument  four texts passed to the script when there is no ifname, or null
// Returns 0 once the script has run, however it ended (the log tells); RD_RC_BAD_ACTION for any other action; the code
// of rd_validate_ifname for a refused name.
int rd_fw_control(int action, const char *ruleset, const char (*ifname)[RD_IFNAME_SIZE],
                  const char (*argument)[RD_MAC_SIZE]);
