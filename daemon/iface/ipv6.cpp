#include "iface/ipv6.h"

#include "base/file.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"

void rd_ipv6_setting(const char *ifname, const char *setting, const char *value)
{
    char path[150];
    char line[64];
    rd_format(path, "/proc/sys/net/ipv6/conf/%s/%s", rd_path_name(ifname), setting);
    rd_format(line, "%s\n", value);
    const int error = rd_write_file(path, line).error;
    if (error == 0) {
        RD_DEBUG("%s %s val:%s OK\n", ifname, setting, value);
    } else {
        RD_ERROR("%s %s val:%s %s\n", ifname, setting, value, ErrorText(error).c_str());
    }
}

void rd_configure_ipv6(const char *ifname, int enable, int autoconfig, int mode)
{
    RD_INFO("%s enable:%d autoconfig:%d\n", ifname, enable, autoconfig);
    if (enable == 0) {
        rd_ipv6_setting(ifname, "disable_ipv6", "1");
        return;
    }

    enum { kAcceptRa, kDisableIpv6, kAddrGenMode, kSettings };
    static constexpr const char *kNames[kSettings] = {"accept_ra", "disable_ipv6", "addr_gen_mode"};
    char now[kSettings] = {}; // first character of each, NUL when it cannot be read
    for (int i = 0; i < (mode == -1 ? kAddrGenMode : kSettings); i++) {
        // Of names above 15, 12 and 11 characters these paths are cut and read as missing: not 1, IPv6 off, mode 0.
        char path[50];
        char text[2] = "";
        rd_format(path, "/proc/sys/net/ipv6/conf/%s/%s", rd_path_name(ifname), kNames[i]);
        const int error = rd_read_line(path, text);
        if (error != 0) {
            RD_ERROR("Unable to open file: %s %s\n", path, ErrorText(error).c_str());
        }
        now[i] = text[0];
    }
    const int autoconfig_now = now[kAcceptRa] == '1' ? 1 : 0;
    const bool enabled_now = now[kDisableIpv6] != '\0' && now[kDisableIpv6] != '1';
    const int mode_now = now[kAddrGenMode] == '\0' || now[kAddrGenMode] == '0' ? 0 : 2;
    if (enabled_now && ((mode != -1 && mode_now != mode) || autoconfig_now != autoconfig)) {
        RD_INFO("IPv6 autoconfig transition on %s\n", ifname);
        rd_ipv6_setting(ifname, "disable_ipv6", "1");
    }

    rd_ipv6_setting(ifname, "accept_ra", autoconfig != 0 ? "1" : "0");
    rd_ipv6_setting(ifname, "accept_dad", "2");
    rd_ipv6_setting(ifname, "accept_ra_rt_info_max_plen", "128");
    if (mode != -1) {
        rd_ipv6_setting(ifname, "addr_gen_mode", mode == 0 ? "0" : "2");
    }
    rd_ipv6_setting(ifname, "disable_ipv6", "0"); // last, when all else is in place
}

void rd_set_ip6_hoplimit(const char *ifname, int hop_limit)
{
    if (hop_limit == 0) {
        return;
    }
    char path[256];
    char line[16];
    rd_format(path, "/proc/sys/net/ipv6/conf/%s/hop_limit", rd_path_name(ifname));
    rd_format(line, "%d\n", hop_limit);
    const auto [opened, error] = rd_write_file(path, line);
    if (!opened) {
        RD_ERROR("Unable to open %s %s\n", path, ErrorText(error).c_str());
        return;
    }
    RD_INFO("wrote %d to %s chars:%d\n", hop_limit, path, static_cast<int>(strlen(line)));
    if (error != 0) { // it was written, but the kernel did not take it, as all that is not 1 to 255
        RD_ERROR("Unable to write %s %s\n", path, ErrorText(error).c_str());
    }
}
