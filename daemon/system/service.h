// The system services that the network depends on.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_AUTOCONFIG: launches the system's auto-configuration script without waiting for it, or with the argument
// "disable" kills the server-configuration agent and deletes its PID file.
// Returns 0 or -1: whether the script could be started or the agent be killed; 0 also when there was no agent.
int rd_server_autoconfig_launch(const AutoconfigRequest *request);

// RD_CMD_SERVICE: stops, starts or restarts a service.
//   wait  1 waits for systemctl (or the KX DHCP client); any other value does not
// Returns RD_RC_INVALID for an unknown service or action, else what rd_exec_cmd gave.
int rd_systemd_service_control(const ServiceRequest *request, uint32_t wait);

// Stops (0), starts (1) or restarts (any other action) the DHCP client of the KX management interface.
//   wait  for the start, as rd_exec_cmd takes it; stopping is always waited for
// Returns what rd_exec_cmd gave for the last step.
int rd_kx_dhcp_ctrl(int action, int wait);

// RD_CMD_DHCP_RELEASE: releases the leases asked for. Returns the wait statuses of both dhclients, or-ed: 0 when all
// that was asked for succeeded.
int rd_dhcp_release(const DhcpReleaseRequest *request);
