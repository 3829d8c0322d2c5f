#include "firewall/policy.h"

#include "base/child.h"
#include "base/log.h"
#include "base/text.h"
#include "base/validate.h"

#include <array>

static constexpr std::array<const char *, 10> kScript = {"/etc/sysapps_script/network/tendmoor_bc.sh"};
static constexpr int kPriorities = 8;
static constexpr size_t kFirstMap = 8;
static constexpr std::array<const char *, kFirstMap + kPriorities + 1> kSetEgressMap = {
    "/sbin/ip", "link", "set", "dev", nullptr, "type", "vlan", "egress-qos-map"};

// A text that begins with "none" stands for no value and passes every check; it is cut to its field.
template <size_t N>
static int validate_or_none(int (*validate)(const char *), char (&field)[N])
{
    const int refused = rd_validate_field(validate, field);
    rd_cut(field);
    return strncmp(field, "none", 4) == 0 ? int{RD_RC_OK} : refused;
}

int rd_back_channel_ip_rules(BcIpRulesRequest *request)
{
    RD_INFO("\n");
    if (request->option > 1) {
        RD_ERROR("Invalid option for tendmoor_bc.sh\n");
        return RD_RC_OUT_OF_RANGE;
    }
    int refused = validate_or_none(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid interface name\n");
        return refused;
    }
    refused = validate_or_none(rd_validate_ipv4, request->address);
    if (refused != 0) {
        RD_ERROR("Invalid IP Address\n");
        return refused;
    }
    refused = validate_or_none(rd_validate_ipv4, request->netmask);
    if (refused != 0) {
        RD_ERROR("Invalid netmask\n");
        return refused;
    }
    refused = validate_or_none(rd_validate_ipv4, request->gateway);
    if (refused != 0) {
        RD_ERROR("Invalid gateway IP Address\n");
        return refused;
    }
    refused = validate_or_none(rd_validate_ipv4, request->dns);
    if (refused != 0) {
        RD_ERROR("Invalid DNS Address\n");
        return refused;
    }
    if (strncmp(request->table, "rt2", 3) != 0) {
        RD_ERROR("Invalid routing table (rt2)\n");
        return RD_RC_INVALID;
    }
    rd_cut(request->table);
    refused = rd_validate_field(rd_validate_mac, request->ded_mac);
    if (refused != 0) {
        RD_ERROR("Invalid mac address\n");
        return refused;
    }

    RD_DEBUG("ifname: %s address:%s mask:%s router:%s \n", request->ifname, request->address, request->netmask,
             request->gateway);
    RD_DEBUG("dns:%s route_table:%s option:%d ded_mac: %s\n", request->dns, request->table, request->option,
             request->ded_mac);
    auto argv = kScript;
    argv[1] = request->ifname;
    argv[2] = request->address;
    argv[3] = request->netmask;
    argv[4] = request->gateway;
    argv[5] = request->dns;
    argv[6] = request->table;
    argv[7] = request->option != 0 ? "1" : "0";
    argv[8] = request->ded_mac;
    return rd_exec_cmd(argv.data(), 1, 1);
}

int rd_set_vlan_priority(const VlanPriorityRequest *request)
{
    RD_INFO("\n");
    const int refused = rd_validate_field(rd_validate_ifname, request->ifname);
    if (refused != 0) {
        RD_ERROR("Invalid mgmt interface name\n");
        return refused;
    }
    const auto priority = static_cast<int>(request->priority);
    if (request->priority >= kPriorities) {
        RD_ERROR("Invalid vlan priority:%d\n", priority);
        return RD_RC_OUT_OF_RANGE;
    }
    char maps[kPriorities][4];
    auto argv = kSetEgressMap;
    argv[4] = request->ifname;
    for (int i = 0; i < kPriorities; i++) {
        rd_format(maps[i], "%d:%d", i, priority);
        argv[kFirstMap + static_cast<size_t>(i)] = maps[i];
    }
    return rd_exec_cmd(argv.data(), 1, 1);
}
