#include "mdns/commands.h"

#include "base/child.h"
#include "base/log.h"
#include "base/text.h"
#include "firewall/firewall.h"
#include "mdns/browse.h"

#include <array>

#include <arpa/inet.h>

static constexpr std::array<const char *, 10> kPing = {"/bin/ping", "-6", "-c", "1", "-I", "eth0.4003", "-W", "1"};
static constexpr const char *kDebugServiceType = "_Redfish._tcp";
static constexpr int64_t kDebugBrowseUs = 3'000'000;
static constexpr int kMostRouters = 4;

static bool arguments_are_good(int32_t interface_index, const char *service_type)
{
    return interface_index != 0 && service_type != nullptr && service_type[0] != '\0';
}

static void av_mdns_browse_vlan(int32_t interface_index, const char *service_type)
{
    if (!arguments_are_good(interface_index, service_type)) {
        RD_ERROR("invalid args\n");
        return;
    }
    av_start_mdns_console_browse(interface_index, service_type);
    rd_sleep_us(kDebugBrowseUs);
    av_stop_mdns_vlan_browse();
}

static int av_mdns_browse_service(int32_t interface_index, const char *service_type, uint32_t start)
{
    if (start == 0) {
        RD_INFO("stopping mdns browse\n");
        av_stop_mdns_vlan_browse();
        return 0;
    }
    if (!arguments_are_good(interface_index, service_type)) {
        RD_ERROR("invalid args\n");
        return 0;
    }
    RD_INFO("starting browse for %s on interface %d\n", service_type, interface_index);
    return av_start_mdns_console_browse(interface_index, service_type);
}

int rd_ngm_debug(NgmDebugRequest *request)
{
    if (request->count > kMostRouters) {
        RD_ERROR("invalid router count: %d\n", request->count);
        return RD_RC_OUT_OF_RANGE;
    }
    if (request->interface_index == 0) {
        RD_ERROR("invalid interface index\n");
        return RD_RC_OUT_OF_RANGE;
    }
    int result = 0;
    for (int i = 0; i < request->count; i++) {
        auto &router = request->router[i];
        in6_addr binary;
        rd_cut(router);
        if (inet_pton(AF_INET6, router, &binary) != 1) {
            RD_ERROR("Invalid IPv6 addr at index %d\n", i);
            continue;
        }
        auto argv = kPing;
        argv[8] = router;
        const int rc = rd_exec_cmd(argv.data(), 1, 1);
        RD_INFO("ping %s rc=%d\n", router, rc);
        if (rc != 0) {
            result = rc;
        }
    }
    av_mdns_browse_vlan(request->interface_index, kDebugServiceType);
    return result;
}

int rd_mdns_browse_service(MdnsBrowseRequest *request)
{
    if (request->interface_index == 0) {
        RD_ERROR("invalid interface index\n");
        return RD_RC_OUT_OF_RANGE;
    }
    if (request->service_type[0] == '\0') {
        RD_ERROR("service name missing\n");
        return RD_RC_NO_NAME;
    }
    rd_cut(request->service_type);
    if (request->start != 0 && request->firewall != 0) {
        rd_fw_control(0, "mdns", nullptr, nullptr);
    }
    av_mdns_browse_service(request->interface_index, request->service_type, request->start);
    if (request->start == 0 && request->firewall != 0) {
        rd_fw_control(1, "mdns", nullptr, nullptr);
    }
    return RD_RC_OK;
}
