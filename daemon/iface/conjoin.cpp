#include "iface/commands.h"

#include "base/file.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"

int rd_mgmt_iface_conjoin_in_an_inclusive_fashion(const ConjoinRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->bond, "Invalid mgmt interface name")) {
        return refused;
    }
    int slot = 0;
    for (const auto &lower : request->lower) {
        slot++;
        const int refused = rd_validate_field(rd_validate_ifname, lower);
        if (refused != 0) {
            RD_ERROR("Invalid mgmt interface lower[%d]\n", slot);
            return refused;
        }
    }

    int rc = 0;
    for (const auto &lower : request->lower) {
        if (lower[0] != '\0') {
            rc = rd_run_loud<"/usr/sbin/ifenslave -f <bond> <ifname>">(request->bond, lower);
            RD_INFO("conjoined %s to %s rc=%d\n", lower, request->bond, rc);
        }
    }

    const char *first = request->lower[0];
    for (const char *setting : {"primary", "active_slave"}) {
        char path[64];
        rd_format(path, "/sys/class/net/%s/bonding/%s", rd_path_name(request->bond), setting);
        const auto [opened, error] = rd_write_file(path, first);
        if (!opened) {
            RD_ERROR("failed to open %s %s\n", path, ErrorText(error).c_str());
            return RD_RC_NO_RESOURCE;
        }
        if (error == 0) {
            RD_DEBUG("wrote %s to %s\n", first, path);
        } else { // the kernel's refusal, for instance of an active interface whose link is down
            RD_ERROR("failed to write %s to %s %s\n", first, path, ErrorText(error).c_str());
        }
    }
    return rc;
}
