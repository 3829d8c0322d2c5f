#include "system/commands.h"

#include "base/validate.h"

#include <unistd.h>

int rd_set_netname(Netname which, const NameRequest *request)
{
    if (const int refused = rd_check(rd_validate_shell_arg, request->name, "Invalid name")) {
        return refused;
    }
    const char *const name = request->name;
    int rc = 0;
    if (which == Netname::kHost) {
        rc = sethostname(name, strlen(name));
        RD_INFO("setting hostname:%s rc=%d\n", name, rc);
    } else {
        rc = setdomainname(name, strlen(name));
        RD_INFO("setting domainname:%s rc=%d\n", name, rc);
    }
    return rc;
}
