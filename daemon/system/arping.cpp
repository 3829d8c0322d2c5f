#include "system/commands.h"

#include "base/child.h"
#include "base/line.h"
#include "base/validate.h"

#include <unistd.h>

int rd_send_arping(const ArpingRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid mgmt interface name")) {
        return refused;
    }
    if (const int refused = rd_check(rd_validate_ipv4, request->address, "Invalid IP address")) {
        return refused;
    }
    if (const int refused = rd_check(rd_validate_ipv4, request->gateway, "Invalid gateway IP address")) {
        return refused;
    }
    RD_INFO("sending arping for %s (gw:%s) on %s\n", request->address, request->gateway, request->ifname);
    const Argv argv = rd_fill<"/bin/arping -bUf -c 3 -s <address> -I <ifname> <gateway>">(
        request->address, request->ifname, request->gateway);
    const pid_t child = rd_fork();
    if (child == 0) {
        const int rc = rd_become_tool(argv.words, 1);
        RD_ERROR("failed to execv rc=%d\n", rc);
        _exit(rc);
    }
    if (child < 0) {
        RD_ERROR("failed to fork\n");
        return child;
    }
    return RD_RC_OK; // the server loop reaps it
}
