#include "iface/bond.h"

#include "base/file.h"
#include "base/line.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/link.h"

static void enslave(const char *bond, const char *lower, const char *function = __builtin_FUNCTION())
{
    const int down = rd_set_link_state(lower, RD_LINK_DOWN); // a bond takes only interfaces that are down
    if (down != 0) {
        RD_ERROR_OF(function, "failed to set link down on %s rc=%d\n", lower, down);
    }
    const int rc = rd_run<"/sbin/ip link set dev <ifname> master <bond>">(lower, bond);
    RD_INFO_OF(function, "enjoin %s to %s rc=%d\n", lower, bond, rc);
}

void rd_add_bond(const char *bond, std::span<const char[RD_IFNAME_SIZE]> lowers, const BondSettings &settings)
{
    const char *const mode = settings.active_backup ? "active-backup" : "broadcast";
    const int rc = rd_run<"/sbin/ip link add dev <bond> address <mac> type bond mode <mode>">(bond, settings.mac, mode);
    RD_INFO("bond %s mac %s mode %s rc=%d\n", bond, settings.mac, mode, rc);
    if (rc == 0) {
        rd_wait_for_iface_ready(bond, 1, nullptr);
        rd_configure_ipv6(bond, settings.ipv6);
        rd_set_link_state(bond, RD_LINK_UP);
    }
    for (const auto &lower : lowers) {
        if (lower[0] != '\0') {
            enslave(bond, lower);
        }
    }
    if (!settings.active_backup) {
        return;
    }

    const char *const primary = lowers.empty() ? "" : lowers[0];
    const struct {
        const char *name;
        const char *value;
        const char *complaint[3]; // the bond's name stands behind the first text
    } rows[] = {
        {"miimon", "1000", {"miimon for ", "", ""}},       // ms
        {"downdelay", "5000", {"downdelay for ", "", ""}}, // ms
        {"primary", primary, {"", " primary lower ", primary}},
        {"all_slaves_active", "1\n", {"", " all_*****s_active", ""}},
    };
    for (const auto &[name, value, complaint] : rows) {
        char path[256];
        rd_format(path, "/sys/class/net/%s/bonding/%s", rd_path_name(bond), name);
        const int error = rd_write_file(path, value).error;
        if (error != 0) {
            RD_ERROR("unable to set %s%s%s%s %s\n", complaint[0], bond, complaint[1], complaint[2],
                     ErrorText(error).c_str());
        }
    }
}
