#include "firewall/commands.h"

#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"

// As rd_check, but a text that begins with "none" stands for no value and passes; it is cut to its field.
template <size_t N>
static int check_or_none(int (*validate)(const char *), char (&field)[N], const char *complaint,
                         const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    if (strncmp(field, "none", 4) == 0) {
        rd_cut(field);
        return RD_RC_OK;
    }
    return rd_check(validate, field, complaint, function, line);
}

int rd_back_channel_ip_rules(BcIpRulesRequest *request)
{
    RD_INFO("\n");
    if (request->option > 1) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "Invalid option for tendmoor_bc.sh");
    }
    if (const int refused = check_or_none(rd_validate_ifname, request->ifname, "Invalid interface name")) {
        return refused;
    }
    if (const int refused = check_or_none(rd_validate_ipv4, request->address, "Invalid IP Address")) {
        return refused;
    }
    if (const int refused = check_or_none(rd_validate_ipv4, request->netmask, "Invalid netmask")) {
        return refused;
    }
    if (const int refused = check_or_none(rd_validate_ipv4, request->gateway, "Invalid gateway IP Address")) {
        return refused;
    }
    if (const int refused = check_or_none(rd_validate_ipv4, request->dns, "Invalid DNS Address")) {
        return refused;
    }
    if (strncmp(request->table, "rt2", 3) != 0) {
        return rd_refuse(RD_RC_INVALID, "Invalid routing table (rt2)");
    }
    rd_cut(request->table);
    if (const int refused = rd_check(rd_validate_mac, request->ded_mac, "Invalid mac address")) {
        return refused;
    }

    RD_DEBUG("ifname: %s address:%s mask:%s router:%s \n", request->ifname, request->address, request->netmask,
             request->gateway);
    RD_DEBUG("dns:%s route_table:%s option:%d ded_mac: %s\n", request->dns, request->table, request->option,
             request->ded_mac);
    return rd_run<
        "/etc/sysapps_script/network/tendmoor_bc.sh <ifname> <address> <netmask> <gateway> <dns> <table> <option> "
        "<mac>">(request->ifname, request->address, request->netmask, request->gateway, request->dns, request->table,
                 request->option != 0 ? "1" : "0", request->ded_mac);
}
