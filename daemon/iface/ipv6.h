// The kernel's per-interface IPv6 settings under /proc/sys/net/ipv6/conf (kernel document ip-sysctl).
#pragma once

#include <q7net/protocol.h>

struct Ipv6Settings {
    int enable;     // 0 switches IPv6 off and touches nothing else
    int autoconfig; // non-zero accepts router advertisements
    int mode;       // address generation: -1 leave alone, 0 EUI-64, any other value stable privacy (RFC 7217)
};
inline constexpr Ipv6Settings kIpv6Off{.enable = 0, .autoconfig = 0, .mode = RD_ADDRESS_GENERATION_LEAVE};

// Writes one setting, for instance ("eth0", "accept_ra", "1"). A file that cannot be opened and a value that
// the kernel refuses are logged.
void rd_ipv6_setting(const char *ifname, const char *setting, const char *value);

// Gives an interface its IPv6 settings. What fails is logged and the rest still done. On an interface where IPv6 already
// runs with another autoconfiguration or mode it is switched off first, so that its configuration starts afresh.
void rd_configure_ipv6(const char *ifname, const Ipv6Settings &settings);

// Sets the hop limit of outgoing packets; 0 leaves it unchanged, the kernel judges any other value.
void rd_set_ip6_hoplimit(const char *ifname, int hop_limit);
