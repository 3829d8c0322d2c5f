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

// The first character of a setting, NUL when it cannot be read.
static char first_character(const char *ifname, const char *setting, const char *function = __builtin_FUNCTION())
{
    // Of names above 15, 12 and 11 characters these paths are cut and read as missing: not 1, IPv6 off, mode 0.
    char path[50];
    char text[2] = "";
    rd_format(path, "/proc/sys/net/ipv6/conf/%s/%s", rd_path_name(ifname), setting);
    const int error = rd_read_line(path, text);
    if (error != 0) {
        RD_ERROR_OF(function, "Unable to open file: %s %s\n", path, ErrorText(error).c_str());
    }
    return text[0];
}

void rd_configure_ipv6(const char *ifname, const Ipv6Settings &settings)
{
    const auto &[enable, autoconfig, mode] = settings;
    RD_INFO("%s enable:%d autoconfig:%d\n", ifname, enable, autoconfig);
    if (enable == 0) {
        rd_ipv6_setting(ifname, "disable_ipv6", "1");
        return;
    }

    const bool sets_mode = mode != RD_ADDRESS_GENERATION_LEAVE;
    const char accept_ra = first_character(ifname, "accept_ra");
    const char disabled = first_character(ifname, "disable_ipv6");
    const char generation = sets_mode ? first_character(ifname, "addr_gen_mode") : '\0';
    const int autoconfig_now = accept_ra == '1' ? 1 : 0;
    const bool enabled_now = disabled != '\0' && disabled != '1';
    const int mode_now = generation == '\0' || generation == '0' ? 0 : 2;
    if (enabled_now && ((sets_mode && mode_now != mode) || autoconfig_now != autoconfig)) {
        RD_INFO("IPv6 autoconfig transition on %s\n", ifname);
        rd_ipv6_setting(ifname, "disable_ipv6", "1");
    }

    rd_ipv6_setting(ifname, "accept_ra", autoconfig != 0 ? "1" : "0");
    rd_ipv6_setting(ifname, "accept_dad", "2");
    rd_ipv6_setting(ifname, "accept_ra_rt_info_max_plen", "128");
    if (sets_mode) {
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
