#pragma once

#include <q7net/protocol.h>

// RD_CMD_NGM_DEBUG: pings up to four IPv6 routers over eth0.4003 and browses for _Redfish._tcp for three seconds; what
// is found is in the log. Ends any other browse.
// Returns RD_RC_OUT_OF_RANGE for a refused count or interface index, else the wait status of the last ping that failed,
// or 0.
int rd_ngm_debug(NgmDebugRequest *request);

// RD_CMD_MDNS_BROWSE: starts or stops a browse and, on request, removes the "mdns" firewall rule set before the start
// and applies it after the stop.
// Returns RD_RC_OUT_OF_RANGE for interface index 0 and RD_RC_NO_NAME for an empty service type, also when stopping;
// else 0, whatever became of the browse.
int rd_mdns_browse_service(MdnsBrowseRequest *request);
