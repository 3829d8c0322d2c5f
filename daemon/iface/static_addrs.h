#pragma once

#include <q7net/protocol.h>

// RD_CMD_STATIC_ADDRS: applies one static address configuration to an interface: address, default gateway and, for
// IPv6, up to two static routes with permanent neighbour entries for their routers; or only switches IPv6
// autoconfiguration. An IPv6 gateway replaces all static IPv6 routes, and IPv6 replaces all permanent neighbours, of
// the whole system. Nothing is validated but what is probed: ip's refusals are in the log. Texts are cut to their
// fields. Returns RD_RC_OK in every case.
int rd_apply_static_addrs(StaticAddrsRequest *request);
