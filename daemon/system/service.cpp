#include "system/service.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"

#include <array>
#include <cstring>
#include <ctime>

#include <signal.h>
#include <unistd.h>

static constexpr std::array<const char *, 3> kAutoconfig = {"/etc/sysapps_script/network/systemautoconf.sh"};
static constexpr std::array<const char *, 4> kSystemctl = {"/bin/systemctl"};
static constexpr std::array<const char *, 10> kKxDhclient = {"/sbin/dhclient",
                                                             nullptr,
                                                             "-nw",
                                                             "-cf",
                                                             "/etc/systemd/network/dhkxmgmt.conf",
                                                             "-lf",
                                                             "/var/lib/dhcp/dhclientkx.leases",
                                                             "-pf",
                                                             "/var/run/dhclientkx.pid"};
static constexpr std::array<const char *, 5> kRelease = {"/sbin/dhclient", nullptr, "-r", "-1"};

static constexpr const char *kAgentPidFile = "/run/q7net/serverconfigagent.pid";
static constexpr const char *kAgentName = "serverconfigagent";
static constexpr const char *kIpv4LeaseMarker = "/run/q7net/dhcp/lease_obtained_ipv4";

static constexpr std::array<const char *, 14> kUnits = {
    "avahi-daemon", "lldpd-topology", "llmnrd",     "network", "nodediscd",     nullptr,          "radvd",
    "dhclient",     "dhclient6",      "dhclient6s", "dhcpd6",  "q7mdnspublish", "wpa_supplicant", "ddnsreg"};
static constexpr uint32_t kKxDhclientService = 5; // not a unit: run by ourselves
static constexpr uint32_t kDhclientService = 7;
static constexpr std::array<const char *, 3> kActions = {"stop", "start", "restart"};
static constexpr uint32_t kStop = 0;

int rd_server_autoconfig_launch(const AutoconfigRequest *request)
{
    const char *const argument = request->autoconf_arg;
    RD_INFO("\n");
    if (strcmp(argument, "disable") == 0) {
        RD_INFO("disabling\n");
        uint32_t pid = 0;
        int rc = 0;
        if (rd_get_pid_from_file(kAgentPidFile, &pid) != 0) {
            RD_INFO("couldnt get pid from %s\n", kAgentPidFile);
        } else {
            char text[32]; // the path, then the first line read from it: the program's path, up to its NUL
            rd_format(text, "/proc/%u/cmdline", pid);
            const int error = rd_read_line(text, text);
            if (error != 0) {
                RD_INFO("couldnt open %s %s\n", text, ErrorText(error).c_str());
            } else {
                RD_INFO("read %s\n", text);
            }
            if (strstr(text, kAgentName) != nullptr) { // the PID may be another program's by now
                rc = kill(static_cast<pid_t>(pid), SIGKILL);
                RD_INFO("killed serverconfigagent pid %u rc=%d\n", pid, rc);
            } else {
                RD_INFO("wrong pid %u dont kill %s\n", pid, text);
            }
        }
        unlink(kAgentPidFile);
        return rc;
    }
    auto argv = kAutoconfig;
    argv[1] = argument[0] != '\0' ? argument : nullptr; // the child has a copy of its own
    return rd_exec_cmd(argv.data(), 0, 1);
}

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
    if (service == kKxDhclientService) {
        return rd_kx_dhcp_ctrl(static_cast<int>(action), static_cast<int>(wait));
    }
    if (action >= kActions.size()) {
        RD_ERROR("invalid action: %d\n", static_cast<int>(action));
        return RD_RC_INVALID;
    }
    if (service == kDhclientService && action != kStop) {
        unlink(kIpv4LeaseMarker);
    }

    auto argv = kSystemctl;
    argv[1] = kActions[action];
    argv[2] = kUnits[service];
    unsigned long long now = raw_seconds();
    RD_INFO("%s %s at %llu\n", argv[2], argv[1], now);
    const int rc = rd_exec_cmd(argv.data(), static_cast<int>(wait), 1);
    now = raw_seconds();
    RD_INFO("completed %s %s at %llu\n", argv[2], argv[1], now);
    return rc;
}

int rd_kx_dhcp_ctrl(int action, int wait)
{
    auto argv = kKxDhclient;
    if (action != 1) {
        RD_INFO("killing kx dhclient\n");
        argv[1] = "-x";
        const int rc = rd_exec_cmd(argv.data(), 1, 1);
        if (rc != 0) {
            RD_INFO("unable to get kx dhcp pid from file\n");
        }
        if (action == 0) {
            return rc;
        }
    }
    argv[1] = "-4";
    const int rc = rd_exec_cmd(argv.data(), wait, 1);
    if (rc != 0) {
        RD_ERROR("failed to start kx dhcp client\n");
    } else {
        RD_INFO("kx dhcp client started\n");
    }
    return rc;
}

int rd_dhcp_release(const DhcpReleaseRequest *request)
{
    RD_INFO("DHCP4:%d DHCP6:%d\n", request->dhcp4, request->dhcp6);
    auto argv = kRelease;
    int release4 = 0;
    if (request->dhcp4 != 0) {
        argv[1] = "-4";
        release4 = rd_exec_cmd(argv.data(), 1, 1);
        RD_INFO("dhclient -4 -r rc=%d\n", release4);
    }
    int release6 = 0;
    if (request->dhcp6 != 0) {
        argv[1] = "-6";
        release6 = rd_exec_cmd(argv.data(), 1, 1);
        RD_INFO("dhclient -6 -r rc=%d\n", release6);
    }
    return release4 | release6;
}
