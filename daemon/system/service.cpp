#include "system/service.h"

#include "base/line.h"
#include "base/log.h"
#include "system/commands.h"

#include <array>
#include <ctime>

#include <unistd.h>

static constexpr const char *kIpv4LeaseMarker = "/run/q7net/dhcp/lease_obtained_ipv4";

// By a Service and a ServiceAction.
static constexpr std::array<const char *, 14> kUnits = {
    "avahi-daemon", "lldpd-topology", "llmnrd",     "network", "nodediscd",     nullptr,          "radvd",
    "dhclient",     "dhclient6",      "dhclient6s", "dhcpd6",  "q7mdnspublish", "wpa_supplicant", "ddnsreg"};
static constexpr std::array<const char *, 3> kActions = {"stop", "start", "restart"};

static unsigned long long raw_seconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<unsigned long long>(now.tv_sec);
}

int rd_systemd_service_control(const ServiceRequest *request, uint32_t wait)
{
    const uint32_t service = request->service;
    const uint32_t action = request->action;
    if (service >= kUnits.size()) {
        RD_ERROR("invalid service name: %d\n", static_cast<int>(service));
        return RD_RC_INVALID;
    }
    if (service == RD_SERVICE_KX_DHCLIENT) {
        return rd_kx_dhcp_ctrl(static_cast<int>(action), static_cast<int>(wait));
    }
    if (action >= kActions.size()) {
        RD_ERROR("invalid action: %d\n", static_cast<int>(action));
        return RD_RC_INVALID;
    }
    if (service == RD_SERVICE_DHCLIENT && action != RD_SERVICE_STOP) {
        unlink(kIpv4LeaseMarker);
    }

    const char *const word = kActions[action];
    const char *const unit = kUnits[service];
    unsigned long long now = raw_seconds();
    RD_INFO("%s %s at %llu\n", unit, word, now);
    const int rc = rd_start<"/bin/systemctl <action> <unit>">(static_cast<int>(wait), word, unit);
    now = raw_seconds();
    RD_INFO("completed %s %s at %llu\n", unit, word, now);
    return rc;
}

// Runs the DHCP client with its files; option -4 starts it, -x stops it.
static int run_kx_dhclient(const char *option, int wait)
{
    return rd_start<"/sbin/dhclient <option> -nw -cf /etc/systemd/network/dhkxmgmt.conf -lf "
                    "/var/lib/dhcp/dhclientkx.leases -pf /var/run/dhclientkx.pid">(wait, option);
}

int rd_kx_dhcp_ctrl(int action, int wait)
{
    if (action != RD_SERVICE_START) {
        RD_INFO("killing kx dhclient\n");
        const int rc = run_kx_dhclient("-x", 1);
        if (rc != 0) {
            RD_INFO("unable to get kx dhcp pid from file\n");
        }
        if (action == RD_SERVICE_STOP) {
            return rc;
        }
    }
    const int rc = run_kx_dhclient("-4", wait);
    if (rc != 0) {
        RD_ERROR("failed to start kx dhcp client\n");
    } else {
        RD_INFO("kx dhcp client started\n");
    }
    return rc;
}
