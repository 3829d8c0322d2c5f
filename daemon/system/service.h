#pragma once

// Stops, starts or restarts the DHCP client of the KX management interface.
//   action  a ServiceAction; any that is neither stop nor start restarts
//   wait    for the start, as rd_exec_cmd takes it; stopping is always waited for
// Returns what rd_exec_cmd gave for the last step.
int rd_kx_dhcp_ctrl(int action, int wait);
