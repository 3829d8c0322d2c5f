#include "iface/link.h"

#include "base/child.h"
#include "base/file.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/commands.h"

void rd_add_macvlan(const char *name, const char *mac, const char *lower)
{
    int rc = 0;
    if (mac != nullptr && mac[0] != '\0') {
        rc = rd_run<"/sbin/ip link add <name> link <lower> address <mac> type macvlan mode private">(name, lower, mac);
    } else {
        rc = rd_run<"/sbin/ip link add <name> link <lower> type macvlan mode passthru nopromisc">(name, lower);
    }
    RD_INFO("macvlan %s lower %s rc=%d\n", name, lower, rc);
}

int rd_ip_link_delete(const char *word, const char *name)
{
    return rd_run<"/sbin/ip link <delete> dev <name>">(word, name);
}

int rd_del_sl_macvlan(const char *name)
{
    RD_INFO("deleting interface %s\n", name);
    const int rc = rd_ip_link_delete("del", name);
    if (rc != 0) {
        RD_WARN("failed to reset %s rc=%d\n", name, rc);
    }
    return rc;
}

int rd_link_control(const LinkRequest *request)
{
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid interface name")) {
        return refused;
    }
    const char *const state = request->state != RD_LINK_DOWN ? "up" : "down";
    const int rc = rd_run<"/sbin/ip link set dev <ifname> <state>">(request->ifname, state);
    RD_INFO("set %s %s rc=%d\n", request->ifname, state, rc);
    return rc;
}

int rd_set_link_state(const char *name, uint32_t state)
{
    LinkRequest request{.state = state, .ifname = ""};
    rd_format(request.ifname, "%s", name);
    return rd_link_control(&request);
}

int rd_ip_link_set_mac(const char *name, const char *mac)
{
    return rd_run<"/sbin/ip link set dev <ifname> address <mac>">(name, mac);
}

int rd_set_iface_mac(const char *name, const char *mac)
{
    const int down = rd_set_link_state(name, RD_LINK_DOWN);
    const int set = rd_ip_link_set_mac(name, mac);
    if (down != 0 || set != 0) {
        RD_ERROR("failed to set %s mac %s rc=%d\n", name, mac, down | set);
    }
    const int up = rd_set_link_state(name, RD_LINK_UP);
    RD_INFO("set %s up rc=%d\n", name, up);
    return up;
}

int rd_wait_for_iface_ready(const char *name, int seconds, const char *wanted)
{
    char path[160]; // room for every name that passes a check
    rd_format(path, "/sys/class/net/%s/operstate", rd_path_name(name));
    int tries = seconds < 1 ? 2 : seconds * 2;
    while (tries-- > 0) {
        char state[8];
        File file(fopen(path, "re"));
        if (file == nullptr) {
            RD_ERROR("Unable to open %s %s\n", name, ErrorText(errno).c_str());
        } else if (wanted == nullptr) {
            return 0;
        } else if (fgets(state, sizeof state, file.get()) != nullptr && strncmp(state, wanted, 2) == 0) {
            RD_INFO("%s is up now\n", name);
            return 1;
        }
        file.reset();
        RD_INFO("%s is not ready\n", name);
        rd_sleep_us(500'000);
    }
    return 0;
}

int rd_add_vlan(const char *lower, int id, const Ipv6Settings &settings)
{
    char name[32];
    char id_text[5];
    rd_format(name, "%s.%d", lower, id);
    rd_format(id_text, "%d", id);
    const int rc = rd_run<"/sbin/ip link add link <lower> name <name> type vlan id <id>">(lower, name, id_text);
    RD_INFO("vlan %s lower %s id %s rc=%d\n", name, lower, id_text, rc);
    if (rc != 0) {
        return rc;
    }
    rd_wait_for_iface_ready(name, 1, nullptr);
    rd_configure_ipv6(name, settings);
    RD_INFO("ipv6 configured for %s\n", name);
    return rd_set_link_state(name, RD_LINK_UP);
}
