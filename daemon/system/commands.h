// Commands on the system's services and names, and packets put on a link for clients that may not do so themselves.
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

// RD_CMD_DHCP_RELEASE: releases the leases asked for. Returns the wait statuses of both dhclients, or-ed: 0 when all
// that was asked for succeeded.
int rd_dhcp_release(const DhcpReleaseRequest *request);

// RD_CMD_HOSTNAME, RD_CMD_DOMAINNAME: sets the kernel's host name or domain name; an empty name clears it.
// Returns the code of rd_validate_shell_arg for a refused name, else 0 or -1 as the system call did.
enum class Netname { kHost, kDomain };
int rd_set_netname(Netname which, const NameRequest *request);

// RD_CMD_HOSTS_FILE: rewrites /etc/hosts so that the name resolves to the loopback address.
// Returns RD_RC_ABSENT for an empty name, the validator's code for a refused one, RD_RC_NO_RESOURCE when the file
// cannot be opened, each with the file as it was; else 0.
int rd_update_hosts_file(const NameRequest *request);

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
