// The controller's own names.
#pragma once

#include <q7net/protocol.h>

enum class Netname { kHost, kDomain };

// RD_CMD_HOSTNAME, RD_CMD_DOMAINNAME: sets the kernel's host name or domain name; an empty name clears it.
// Returns the code of rd_validate_shell_arg for a refused name, else 0 or -1 as the system call did.
int rd_set_netname(Netname which, const NameRequest *request);

// RD_CMD_HOSTS_FILE: rewrites /etc/hosts so that the name resolves to the loopback address.
// Returns RD_RC_ABSENT for an empty name, the validator's code for a refused one, RD_RC_NO_RESOURCE when the file
// cannot be opened, each with the file as it was; else 0.
int rd_update_hosts_file(const NameRequest *request);
