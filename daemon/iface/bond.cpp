#include "iface/bond.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/ipv6.h"
#include "iface/link.h"

#include <array>

static constexpr std::array<const char *, 12> kAddBond = {"/sbin/ip", "link",  "add",  "dev",  nullptr,
                                                          "address",  nullptr, "type", "bond", "mode"};
static constexpr std::array<const char *, 8> kSetMaster = {"/sbin/ip", "link", "set", "dev", nullptr, "master"};
static constexpr std::array<const char *, 5> kIfenslave = {"/usr/sbin/ifenslave", "-f"};

// Writes one setting of a bond. Returns 0 or the errno that says why it was not taken.
static int set_bonding(const char *bond, const char *setting, const char *value)
{
    char path[256];
    rd_format(path, "/sys/class/net/%s/bonding/%s", rd_path_name(bond), setting);
    return rd_write_file(path, value).error;
}

void rd_add_bond(const char *bond, const char (*lowers)[RD_IFNAME_SIZE], int count, const char *mac, int active_backup,
                 int enable, int autoconfig, int mode)
{
    auto argv = kAddBond;
    argv[4] = bond;
    argv[6] = mac;
    argv[10] = active_backup != 0 ? "active-backup" : "broadcast";
    int rc = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("bond %s mac %s mode %s rc=%d\n", bond, mac, argv[10], rc);
    if (rc == 0) {
        rd_wait_for_iface_ready(bond, 1, nullptr);
        rd_configure_ipv6(bond, enable, autoconfig, mode);
        rd_set_link_state(bond, 1);
    }

    for (int i = 0; i < count; i++) {
        const char *lower = lowers[i];
        if (lower[0] == '\0') {
            continue;
        }
        rc = rd_set_link_state(lower, 0); // a bond takes only interfaces that are down
        if (rc != 0) {
            RD_ERROR("failed to set link down on %s rc=%d\n", lower, rc);
        }
        auto enslave = kSetMaster;
        enslave[4] = lower;
        enslave[6] = bond;
        rc = rd_exec_cmd(enslave.data(), 1, 1);
        RD_INFO("enjoin %s to %s rc=%d\n", lower, bond, rc);
    }

    if (active_backup == 0) {
        return;
    }
    const char *primary = count > 0 ? lowers[0] : "";
    int error = set_bonding(bond, "miimon", "1000"); // ms
    if (error != 0) {
        RD_ERROR("unable to set miimon for %s %s\n", bond, ErrorText(error).c_str());
    }
    error = set_bonding(bond, "downdelay", "5000"); // ms
    if (error != 0) {
        RD_ERROR("unable to set downdelay for %s %s\n", bond, ErrorText(error).c_str());
    }
    error = set_bonding(bond, "primary", primary);
    if (error != 0) {
        RD_ERROR("unable to set %s primary lower %s %s\n", bond, primary, ErrorText(error).c_str());
    }
    error = set_bonding(bond, "all_slaves_active", "1\n");
    if (error != 0) {
        RD_ERROR("unable to set %s all_*****s_active %s\n", bond, ErrorText(error).c_str());
    }
}

int rd_mgmt_iface_conjoin_in_an_inclusive_fashion(const ConjoinRequest *request)
{
    int refused = rd_validate_field(rd_validate_ifname, request->bond);
    if (refused != 0) {
        RD_ERROR("Invalid mgmt interface name\n");
        return refused;
    }
    int slot = 0;
    for (const auto &lower : request->lower) {
        slot++;
        refused = rd_validate_field(rd_validate_ifname, lower);
        if (refused != 0) {
            RD_ERROR("Invalid mgmt interface lower[%d]\n", slot);
            return refused;
        }
    }

    int rc = 0;
    for (const auto &lower : request->lower) {
        if (lower[0] != '\0') {
            auto argv = kIfenslave;
            argv[2] = request->bond;
            argv[3] = lower;
            rc = rd_exec_cmd(argv.data(), 1, 0);
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
