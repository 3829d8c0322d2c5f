// Commands on interfaces and their addresses.
#pragma once

#include <q7net/protocol.h>

// RD_CMD_LINK: sets a link up or down. Returns the code of rd_validate_ifname for a refused name, else the
// wait status of ip. A name that fills its field without a NUL is refused: the first 15 characters of a
// longer name could be another interface.
int rd_link_control(const LinkRequest *request);

// RD_CMD_LINK_TUNING: sets auto-negotiation, speed and duplex, and then leaves the link up or takes it down.
// Returns RD_RC_INVALID for a refused name or auto-negotiation, RD_RC_OUT_OF_RANGE for a refused speed, with nothing
// changed; else the result of taking the link down, 0 when it stays up. What became of the tuning is in the log.
int rd_link_tuning(const LinkTuningRequest *request);

// RD_CMD_CONJOIN: enslaves up to three more interfaces to a bond and makes the first its primary and active one.
// Returns the code of rd_validate_ifname for a refused name, with nothing changed; RD_RC_NO_RESOURCE when a file of the
// bond cannot be opened; else the wait status of the last ifenslave (0 when there was none to run).
int rd_mgmt_iface_conjoin_in_an_inclusive_fashion(const ConjoinRequest *request);

// RD_CMD_IPV4_DAD: asks the network for another holder of an IPv4 address (RFC 5227). When one answers, or the probe
// itself fails, the address is taken off the interface and then the marker /run/q7net/dhcp/ipv4_dad_conflict written,
// so that who finds the marker finds the address gone; when none answers the marker is deleted. Returns the validator's
// code for a refused name or address (an empty address is not looked at), RD_RC_OUT_OF_RANGE for a prefix length above
// 32, 0 without a conflict, else the wait status of the removal.
int rd_ipv4_dad_start(const Ipv4DadRequest *request);

// RD_CMD_STATIC_ADDRS: applies one static address configuration to an interface: address, default gateway and, for
// IPv6, up to two static routes with permanent neighbour entries for their routers; or only switches IPv6
// autoconfiguration. An IPv6 gateway replaces all static IPv6 routes, and IPv6 replaces all permanent neighbours, of
// the whole system. Nothing is validated but what is probed: ip's refusals are in the log. Texts are cut to their
// fields. Returns RD_RC_OK in every case.
int rd_apply_static_addrs(StaticAddrsRequest *request);

// RD_CMD_MGMT_RECONFIG: brings the management interface into the shape asked for: rebuilds it as a macvlan or bond with
// or without a VLAN, or reapplies its IPv6 settings, and in any case sets link states, MTU and hop limit and flushes
// the addresses of the interface that carries them. ded and ded2 are checked by their own step only, and mac is not; all
// three are cut to their fields.
// Returns RD_RC_INVALID for a refused name, with nothing changed; else the result of the last link-state step. All
// other failures are logged.
int rd_mgmt_iface_reconfig(MgmtReconfigRequest *request);

// RD_CMD_INIT_IFACES: sets the system's ARP behaviour and the IPv6 stable secret, switches IPv6 off on the raw physical
// interfaces, builds the internal VLANs of a modular system, and on request sets up the KX management interface.
// Returns RD_RC_ABSENT when a modular system's macaddress or slot is missing (after the steps before), else the result
// of a modular system's last address step, else 0. The KX management interface never changes the result.
int rd_init_interfaces(InitIfacesRequest *request);
