#include "mdns/commands.h"

#include "base/text.h"
#include "base/validate.h"
#include "firewall/firewall.h"
#include "mdns/browse.h"

static int av_mdns_browse_service(int32_t interface_index, const char *service_type, uint32_t start)
{
    if (start == RD_MDNS_BROWSE_STOP) {
        RD_INFO("stopping mdns browse\n");
        av_stop_mdns_vlan_browse();
        return 0;
    }
    if (!av_arguments_are_good(interface_index, service_type)) {
        RD_ERROR("invalid args\n");
        return 0;
    }
    RD_INFO("starting browse for %s on interface %d\n", service_type, interface_index);
    return av_start_mdns_console_browse(interface_index, service_type);
}

int rd_mdns_browse_service(MdnsBrowseRequest *request)
{
    if (request->interface_index == 0) {
        return rd_refuse(RD_RC_OUT_OF_RANGE, "invalid interface index");
    }
    if (request->service_type[0] == '\0') {
        return rd_refuse(RD_RC_NO_NAME, "service name missing");
    }
    rd_cut(request->service_type);
    if (request->start != RD_MDNS_BROWSE_STOP && request->firewall != 0) {
        rd_fw_control(RD_FIREWALL_REMOVE, "mdns", nullptr, nullptr);
    }
    av_mdns_browse_service(request->interface_index, request->service_type, request->start);
    if (request->start == RD_MDNS_BROWSE_STOP && request->firewall != 0) {
        rd_fw_control(RD_FIREWALL_APPLY, "mdns", nullptr, nullptr);
    }
    return RD_RC_OK;
}
