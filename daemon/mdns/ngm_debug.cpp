#include "mdns/commands.h"

#include "base/child.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "mdns/browse.h"

#include <arpa/inet.h>

static constexpr const char *kDebugServiceType = "_Redfish._tcp";
static constexpr int64_t kDebugBrowseUs = 3'000'000;
static constexpr int kMostRouters = 4;

static void av_mdns_browse_vlan(int32_t interface_index, const char *service_type)
{
    if (!av_arguments_are_good(interface_index, service_type)) {
        RD_ERROR("invalid args\n");
        return;
    }
    av_start_mdns_console_browse(interface_index, service_type);
    rd_sleep_us(kDebugBrowseUs);
    av_stop_mdns_vlan_browse();
}

int rd_ngm_debug(NgmDebugRequest *request)
{
    if (request->count > kMostRouters) {
        RD_ERROR("invalid router count: %d\n", request->count);
        return RD_RC_OUT_OF_RANGE;
    }
    if (request->interface_index == 0) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "invalid interface index");
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
        const int rc = rd_run<"/bin/ping -6 -c 1 -I eth0.4003 -W 1 <router>">(router);
        RD_INFO("ping %s rc=%d\n", router, rc);
        if (rc != 0) {
            result = rc;
        }
    }
    av_mdns_browse_vlan(request->interface_index, kDebugServiceType);
    return result;
}
