#include "system/commands.h"

#include "base/line.h"
#include "base/log.h"

int rd_dhcp_release(const DhcpReleaseRequest *request)
{
    RD_INFO("DHCP4:%d DHCP6:%d\n", request->dhcp4, request->dhcp6);
    int release4 = 0;
    if (request->dhcp4 != 0) {
        release4 = rd_run<"/sbin/dhclient -4 -r -1">();
        RD_INFO("dhclient -4 -r rc=%d\n", release4);
    }
    int release6 = 0;
    if (request->dhcp6 != 0) {
        release6 = rd_run<"/sbin/dhclient -6 -r -1">();
        RD_INFO("dhclient -6 -r rc=%d\n", release6);
    }
    return release4 | release6;
}
