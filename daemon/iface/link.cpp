#include "iface/link.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/ipv6.h"

#include <array>

// Argument vectors, with null at the places that each call fills in.
static constexpr std::array<const char *, 12> kAddMacvlanPassthru = {
    "/sbin/ip", "link", "add", nullptr, "link", nullptr, "type", "macvlan", "mode", "passthru", "nopromisc"};
static constexpr std::array<const char *, 13> kAddMacvlanPrivate = {
    "/sbin/ip", "link", "add", nullptr, "link", nullptr, "address", nullptr, "type", "macvlan", "mode", "private"};
static constexpr std::array<const char *, 6> kDeleteLink = {"/sbin/ip", "link", nullptr, "dev"};
static constexpr std::array<const char *, 7> kSetLink = {"/sbin/ip", "link", "set", "dev"};
static constexpr std::array<const char *, 8> kSetMac = {"/sbin/ip", "link", "set", "dev", nullptr, "address"};
static constexpr std::array<const char *, 12> kAddVlan = {"/sbin/ip", "link",  "add",  "link", nullptr,
                                                          "name",     nullptr, "type", "vlan", "id"};

void rd_add_macvlan(const char *name, const char *mac, const char *lower)
{
    int rc = 0;
    if (mac != nullptr && mac[0] != '\0') {
        auto argv = kAddMacvlanPrivate;
        argv[3] = name;
        argv[5] = lower;
        argv[7] = mac;
        rc = rd_exec_cmd(argv.data(), 1, 1);
    } else {
        auto argv = kAddMacvlanPassthru;
        argv[3] = name;
        argv[5] = lower;
        rc = rd_exec_cmd(argv.data(), 1, 1);
    }
    RD_INFO("macvlan %s lower %s rc=%d\n", name, lower, rc);
}

int rd_ip_link_delete(const char *word, const char *name)
{
    auto argv = kDeleteLink;
    argv[2] = word;
    argv[4] = name;
    return rd_exec_cmd(argv.data(), 1, 1);
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
    const int refused = rd_validate_field(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid interface name\n");
        return refused;
    }
    auto argv = kSetLink;
    argv[4] = request->ifname;
    argv[5] = request->state != 0 ? "up" : "down";
    const int rc = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("set %s %s rc=%d\n", argv[4], argv[5], rc);
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
    auto argv = kSetMac;
    argv[4] = name;
    argv[6] = mac;
    return rd_exec_cmd(argv.data(), 1, 1);
}

int rd_set_iface_mac(const char *name, const char *mac)
{
    const int down = rd_set_link_state(name, 0);
    const int set = rd_ip_link_set_mac(name, mac);
    if (down != 0 || set != 0) {
        RD_ERROR("failed to set %s mac %s rc=%d\n", name, mac, down | set);
    }
    const int up = rd_set_link_state(name, 1);
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

int rd_add_vlan(const char *lower, int id, int enable, int autoconfig, int mode)
{
    char name[32];
    char id_text[5];
    rd_format(name, "%s.%d", lower, id);
    rd_format(id_text, "%d", id);
    auto argv = kAddVlan;
    argv[4] = lower;
    argv[6] = name;
    argv[10] = id_text;
    const int rc = rd_exec_cmd(argv.data(), 1, 1);
    RD_INFO("vlan %s lower %s id %s rc=%d\n", name, lower, id_text, rc);
    if (rc != 0) {
        return rc;
    }
    rd_wait_for_iface_ready(name, 1, nullptr);
    rd_configure_ipv6(name, enable, autoconfig, mode);
    RD_INFO("ipv6 configured for %s\n", name);
    return rd_set_link_state(name, 1);
}
