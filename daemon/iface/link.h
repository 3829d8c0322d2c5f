// Operations on one network interface, run by ip(8), from which the larger commands are composed. Names are
// NUL-terminated; none is checked but by rd_set_link_state. A tool that fails is logged and never retried.
#pragma once

#include "iface/ipv6.h"

// Creates a macvlan on lower: with a MAC address in mode private, without one (null or empty) in mode
// passthru and not promiscuous.
void rd_add_macvlan(const char *name, const char *mac, const char *lower);

// Deletes the interface, whatever its kind. Returns the wait status of ip (0: deleted).
int rd_del_sl_macvlan(const char *name);

// The bare call of ip behind that, without a message; word is "del" or "delete", which mean the same to ip.
int rd_ip_link_delete(const char *word, const char *name);

// Sets a link up or down, as RD_CMD_LINK does.
//   name   acts on its first 15 characters
//   state  0 down, else up
// Returns what rd_link_control does.
int rd_set_link_state(const char *name, uint32_t state);

// Changes the MAC address, taking the link down around the change. Returns the result of setting it up again,
// which is done whatever came before.
int rd_set_iface_mac(const char *name, const char *mac);

// The bare call of ip behind that, without a message.
int rd_ip_link_set_mac(const char *name, const char *mac);

// Waits until an interface is operationally in a state, looking twice a second.
//   seconds  the longest wait; less than 1 counts as 1
//   wanted   a state as in /sys/class/net/NAME/operstate, of which the first two characters are compared; null: wait
//            only until the interface exists
// Returns 1 when the state was reached, 0 when time ran out or, without a wanted state, the interface exists.
int rd_wait_for_iface_ready(const char *name, int seconds, const char *wanted);

// Creates the VLAN interface "lower.id" (802.1Q), gives it its IPv6 settings and sets it up.
//   id  cut to four digits
// Returns the wait status of ip when the VLAN could not be created, else the result of setting it up.
int rd_add_vlan(const char *lower, int id, const Ipv6Settings &settings);
