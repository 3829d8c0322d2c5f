// Browsing for mDNS services in a detached thread. At most one browse runs: a new one ends the one before.
#pragma once

#include <cstdint>

// Whether there is something to browse for: an interface index that is not 0, and a service type.
bool av_arguments_are_good(int32_t interface_index, const char *service_type);

// Starts a browse that runs until it is stopped, another is started, or Avahi fails.
//   interface_index  to browse on; -1 for all
//   service_type     for instance "_Redfish._tcp", of which 31 characters count
// Returns 0 when its thread was created, 1 without memory, else the error of the failing thread call.
int av_start_mdns_console_browse(int32_t interface_index, const char *service_type);

// Asks the running browse to end, and does not wait for it. One that has been started but has no loop yet goes on.
void av_stop_mdns_vlan_browse();
