#include "system/commands.h"

#include "base/child.h"
#include "base/line.h"
#include "base/validate.h"

#include <unistd.h>
#include <vaskdlog.h>

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
        rd_clean_child();
        rd_stdio_to_devnull();
        const int rc = tattletale_standin1_execv(argv.words[0], const_cast<char *const *>(argv.words));
        RD_ERROR("failed to execv rc=%d\n", rc);
        _exit(rc);
    }
    if (child < 0) {
        RD_ERROR("failed to fork\n");
        return child;
    }
    return RD_RC_OK; // the server loop reaps it
}
