/*
 * The contract between q7net-shellexec and its clients: endpoint, frames, command and result codes.
 *
 * Every request is one single-part message on a ZeroMQ REQ socket connected to RD_ENDPOINT: a RequestFrame,
 * in the machine's own (little-endian) byte order, cut behind its command's record if the client likes: what
 * a frame leaves out reads as zeros. Every answer is one ReplyFrame. Texts are NUL-terminated within their
 * field.
 *
 * A field's comment begins with its offset from the start of the frame (in StaticRouteEntry, of the entry), which the
 * build proves, and names the enumeration of its values. Reserved fields are not looked at.
 *
 * Plain C, of C99 but for the anonymous union, so that C and C++ clients can include it.
 */
#ifndef Q7NET_PROTOCOL_H
#define Q7NET_PROTOCOL_H

#include <stdint.h>

#define RD_PROTOCOL_VERSION 1 /* of what a frame means; new commands and fields in reserved places leave it */
#define RD_SOCKET_PATH "/run/q7net/q7rd.socket"
#define RD_ENDPOINT "ipc://" RD_SOCKET_PATH
#define RD_MAX_MESSAGE 65536 /* bytes; the sender of a larger message loses its connection */

/* Widths of text fields, with the NUL. */
#define RD_IFNAME_SIZE 16
#define RD_IPV4_SIZE 16
#define RD_ADDRESS_SIZE 46 /* IPv4 or IPv6 */
#define RD_MAC_SIZE 18

#define RD_PAYLOAD_SIZE 1024
#define RD_REST_FROM(offset) (RD_PAYLOAD_SIZE + 12 - (offset)) /* a last field that runs to the end of the frame */

enum CommandCode {
    RD_CMD_AUTOCONFIG = 1,
    RD_CMD_USBNIC = 2,
    RD_CMD_MGMT_RECONFIG = 3,
    RD_CMD_SERVICE = 4,
    RD_CMD_FIREWALL = 5,
    RD_CMD_CONJOIN = 6,
    RD_CMD_LINK = 7,
    RD_CMD_HOSTNAME = 8,
    RD_CMD_DOMAINNAME = 9,
    RD_CMD_ARPING = 10,
    RD_CMD_BC_IP_RULES = 11,
    RD_CMD_VLAN_PRIORITY = 12,
    RD_CMD_SLBC = 13,
    RD_CMD_SEND_PACKET = 14,
    RD_CMD_HOSTS_FILE = 15,
    RD_CMD_IPV4_DAD = 16,
    RD_CMD_INIT_IFACES = 17,
    RD_CMD_SIDEBAND = 18,
    RD_CMD_RESET_MGMT = 19,
    RD_CMD_MIF_FLUSH = 20,
    RD_CMD_DHCP_RELEASE = 21,
    RD_CMD_NGM_DEBUG = 22,
    RD_CMD_MDNS_BROWSE = 23,
    RD_CMD_INIT_SMARTNIC = 24,
    RD_CMD_INIT_FRONTDEDICATED = 25,
    RD_CMD_INIT_FLOP_USB_NIC = 26,
    RD_CMD_LINK_TUNING = 27,
    RD_CMD_STATIC_ADDRS = 28,
    RD_CMD_TERMINATE = 29
};
#define RD_CMD_COUNT 29

/*
 * What a reply's rc says. Any other value is the wait status of the tool that carried the command out, as
 * waitpid(2) stores it: 256 is exit status 1, 65280 a tool that could not be executed, 9 death by SIGKILL;
 * but for RD_CMD_SEND_PACKET it is the number of bytes sent.
 */
enum ResultCode {
    RD_RC_OK = 0,            /* also: there was nothing to do */
    RD_RC_FAILED = 1,        /* refused or failed inside the daemon */
    RD_RC_NO_NAME = 10,      /* a required name is missing */
    RD_RC_TOO_LONG = 11,     /* a text is longer than allowed, or fills its field without a NUL */
    RD_RC_INVALID = 12,      /* a refused character, an invalid selector, a message of several parts */
    RD_RC_ABSENT = 13,       /* a required argument is absent; a frame shorter than its header */
    RD_RC_OUT_OF_RANGE = 14, /* a number is out of its range; an unknown command code */
    RD_RC_BAD_ACTION = 16,   /* an invalid action for the firewall script */
    RD_RC_NO_RESOURCE = 17,  /* no memory, file, socket, or a file of the wrong size */
    RD_RC_TOO_SHORT = 19,    /* an IPv4 address text of fewer than 7 characters */
    RD_RC_NO_CHILD = -1      /* a child process or a system call failed */
};

/* What several records ask for. */
enum LinkState { RD_LINK_DOWN, RD_LINK_UP };
enum Autoneg { RD_AUTONEG_LEAVE = -1, RD_AUTONEG_OFF, RD_AUTONEG_ON };
enum Duplex { RD_DUPLEX_HALF, RD_DUPLEX_FULL };
enum AddressGeneration {
    RD_ADDRESS_GENERATION_LEAVE = -1,
    RD_ADDRESS_GENERATION_EUI64,
    RD_ADDRESS_GENERATION_STABLE = 2
};

struct RequestHeader {
    uint32_t cmd;  /* @0 a CommandCode */
    uint32_t wait; /* @4 RD_CMD_SERVICE: 1 waits for the tool; ignored by all others */
    uint32_t tag;  /* @8 the client's own number, echoed in the reply and shown in the log */
};

/* RD_CMD_AUTOCONFIG: launches system auto-configuration, or stops the server-configuration agent. */
struct AutoconfigRequest {
    char autoconf_arg[RD_PAYLOAD_SIZE]; /* @12 the script's argument, empty for none; "disable" stops the agent */
};

/* RD_CMD_USBNIC: the USB network function that the host server sees. */
enum UsbnicAction { RD_USBNIC_DOWN, RD_USBNIC_UP, RD_USBNIC_RENEW, RD_USBNIC_CREATE };
struct UsbnicRequest {
    uint32_t action;                  /* @12 UsbnicAction; renew sets its global IPv6 addresses anew */
    uint32_t gadget_flag;             /* @16 creating: passed to the gadget script as 1 (non-zero) or 0 */
    uint32_t dhcp_server;             /* @20 up and down: non-zero starts the DHCP server, 0 stops it */
    char host_mac[RD_MAC_SIZE];       /* @24 */
    char device_mac[RD_MAC_SIZE];     /* @42 */
    uint32_t prefix_length;           /* @60 of IPv4 addresses; above 32 counts as 32 */
    char address[3][RD_ADDRESS_SIZE]; /* @64 */
};

/* RD_CMD_MGMT_RECONFIG: brings the management interface into shape. */
enum MgmtReconfigAction { RD_MGMT_REAPPLY, RD_MGMT_REBUILD, RD_MGMT_LINK };
struct MgmtReconfigRequest {
    uint32_t action;        /* @12 MgmtReconfigAction: reapply its IPv6 settings, rebuild it, or neither */
    int32_t mtu;            /* @16 of the interface that carries the addresses; cut to four characters */
    uint32_t macvlan;       /* @20 when rebuilding: 0: a bond of the lwr slots, else a passthru macvlan on the first */
    uint32_t vlan;          /* @24 VLAN id on top of it; 0 and values above 4094: none */
    int32_t i6_ena;         /* @28 0: IPv6 off */
    int32_t i6_auto;        /* @32 non-zero: accept router advertisements */
    uint32_t mif_linkstate; /* @36 LinkState of the management interface; all but 0: up */
    uint32_t ded_linkstate; /* @40 LinkState of ded and ded2 */
    int32_t hoplimit;       /* @44 IPv6; 0: leave unchanged */
    uint8_t reserved[12];   /* @48 */
    int32_t stabpriv;       /* @60 AddressGeneration of IPv6; all but -1 and 0: stable privacy */
    char mif[RD_IFNAME_SIZE];    /* @64 */
    char ded[RD_IFNAME_SIZE];    /* @80 may be empty */
    char ded2[RD_IFNAME_SIZE];   /* @96 may be empty; looked at only when ded is not */
    char mac[RD_MAC_SIZE];       /* @112 of a bond */
    char lwr[3][RD_IFNAME_SIZE]; /* @130 */
};

/* RD_CMD_SERVICE: stops, starts or restarts a service; the header's wait decides whether to wait for it. */
enum Service {
    RD_SERVICE_AVAHI_DAEMON,
    RD_SERVICE_LLDPD_TOPOLOGY,
    RD_SERVICE_LLMNRD,
    RD_SERVICE_NETWORK,
    RD_SERVICE_NODEDISCD,
    RD_SERVICE_KX_DHCLIENT, /* no unit: the DHCP client of the KX management interface */
    RD_SERVICE_RADVD,
    RD_SERVICE_DHCLIENT,
    RD_SERVICE_DHCLIENT6,
    RD_SERVICE_DHCLIENT6S,
    RD_SERVICE_DHCPD6,
    RD_SERVICE_Q7MDNSPUBLISH,
    RD_SERVICE_WPA_SUPPLICANT,
    RD_SERVICE_DDNSREG
};
enum ServiceAction { RD_SERVICE_STOP, RD_SERVICE_START, RD_SERVICE_RESTART };
struct ServiceRequest {
    uint32_t service; /* @12 Service */
    uint32_t action;  /* @16 ServiceAction */
};

/* RD_CMD_FIREWALL: switches a firewall rule set. */
enum Ruleset { RD_RULESET_MDNS, RD_RULESET_DEDIPV4, RD_RULESET_USB_NAT, RD_RULESET_PING, RD_RULESET_DPUFILT };
enum FirewallOperation { RD_FIREWALL_REMOVE, RD_FIREWALL_APPLY };
struct FirewallRequest {
    uint32_t ruleset;              /* @12 Ruleset */
    uint32_t operation;            /* @16 FirewallOperation */
    uint8_t reserved[16];          /* @20 */
    char ifname[RD_IFNAME_SIZE];   /* @36 dedipv4 */
    char argument[4][RD_MAC_SIZE]; /* @52 dpufilt */
};

/* RD_CMD_CONJOIN: adds lower interfaces to an existing bond. */
struct ConjoinRequest {
    char bond[RD_IFNAME_SIZE];     /* @12 */
    char lower[3][RD_IFNAME_SIZE]; /* @28 the first becomes primary and active; empty slots are skipped */
};

/* RD_CMD_LINK: sets a link up or down. */
struct LinkRequest {
    uint32_t state;              /* @12 LinkState; all but 0: up */
    char ifname[RD_IFNAME_SIZE]; /* @16 */
};

/* RD_CMD_HOSTNAME, RD_CMD_DOMAINNAME, RD_CMD_HOSTS_FILE: the name to set, of at most 257 characters. */
struct NameRequest {
    char name[RD_PAYLOAD_SIZE]; /* @12 */
};

/* RD_CMD_ARPING: announces an address by ARP. */
struct ArpingRequest {
    char ifname[RD_IFNAME_SIZE];    /* @12 */
    char address[RD_IPV4_SIZE];     /* @28 */
    char gateway[RD_REST_FROM(44)]; /* @44 IPv4 */
};

/* RD_CMD_BC_IP_RULES: the back channel's IP rules. Texts that begin with "none" stand for no value. */
struct BcIpRulesRequest {
    char ifname[RD_IFNAME_SIZE]; /* @12 */
    char address[RD_IPV4_SIZE];  /* @28 */
    char netmask[RD_IPV4_SIZE];  /* @44 */
    char gateway[RD_IPV4_SIZE];  /* @60 */
    char dns[RD_IPV4_SIZE];      /* @76 */
    char table[12];              /* @92 must begin with "rt2" */
    int32_t option;              /* @104 at most 1; 0 is passed on as 0, any other value as 1 */
    char ded_mac[RD_MAC_SIZE];   /* @108 */
};

/* RD_CMD_VLAN_PRIORITY: the 802.1p priority of all that leaves a VLAN interface. */
struct VlanPriorityRequest {
    uint32_t priority;             /* @12 0 to 7 */
    char ifname[RD_REST_FROM(16)]; /* @16 */
};

/* RD_CMD_SLBC: sets up or tears down the back channel. */
enum SlbcOperation { RD_SLBC_TEAR_DOWN, RD_SLBC_SET_UP };
struct SlbcRequest {
    uint32_t operation;          /* @12 SlbcOperation; all but 1: tear down */
    uint32_t topology_lldp;      /* @16 0: all rules; 1: without the final DROP rules; up to 2147483647: fewer still */
    char ifname[RD_IFNAME_SIZE]; /* @20 */
    char proxy[RD_IPV4_SIZE];    /* @36 may be empty */
};

/* RD_CMD_SEND_PACKET: sends the frame stored for an interface; rc is the number of bytes sent, 64 to 1522. */
struct SendPacketRequest {
    char ifname[RD_PAYLOAD_SIZE]; /* @12 */
};

/* RD_CMD_IPV4_DAD: probes for another holder of an address. */
struct Ipv4DadRequest {
    char ifname[RD_IFNAME_SIZE]; /* @12 */
    char ipaddr[RD_IPV4_SIZE];   /* @28 */
    uint32_t prefix_len;         /* @44 0 to 32 */
};

/* RD_CMD_INIT_IFACES: prepares the controller's interfaces. */
struct InitIfacesRequest {
    uint32_t is_modular;                   /* @12 the controller sits in a slot: build the internal VLANs */
    uint32_t is_ngm;                       /* @16 internal link eth0 with IPv6, else eth3 with IPv4 */
    uint32_t init_eth0;                    /* @20 non-zero: IPv6 off on eth0 */
    uint32_t init_eth3;                    /* @24 non-zero: IPv6 off on eth3 */
    uint32_t init_frded;                   /* @28 non-zero: IPv6 off on eth1 */
    uint8_t reserved[4];                   /* @32 */
    uint32_t init_kx;                      /* @36 non-zero: set up the KX management interface */
    uint8_t slot;                          /* @40 1 to 254 */
    char secret_seed_a[18];                /* @41 */
    char macaddress[36];                   /* @59 must not be empty on a modular system */
    char kx_mac[RD_MAC_SIZE];              /* @95 */
    char kx_ifname[RD_IFNAME_SIZE];        /* @113 */
    char secret_seed_b[RD_REST_FROM(129)]; /* @129 */
};

/* RD_CMD_SIDEBAND: adds or deletes the side-band macvlans. */
enum SidebandOperation { RD_SIDEBAND_DELETE, RD_SIDEBAND_ADD };
struct SidebandRequest {
    uint32_t operation;          /* @12 SidebandOperation; all but 1: delete */
    uint32_t macv2;              /* @16 non-zero: act on macv2 on eth2 */
    uint32_t macv3;              /* @20 non-zero: act on macv3 on eth3 */
    uint32_t macve0;             /* @24 non-zero: act on macve0 on usbe0 */
    char macv2_mac[RD_MAC_SIZE]; /* @28 */
    char macv3_mac[RD_MAC_SIZE]; /* @46 */
};

/* RD_CMD_RESET_MGMT: deletes the management interface. */
struct ResetMgmtRequest {
    uint32_t set_mac;            /* @12 non-zero: give mac to eth3 and eth2 */
    uint32_t macsec;             /* @16 non-zero: delete macsec0 too */
    char ifname[RD_IFNAME_SIZE]; /* @20 */
    char mac[RD_MAC_SIZE];       /* @36 */
};

/* RD_CMD_MIF_FLUSH: takes the global addresses off the management interface. */
struct MifFlushRequest {
    uint32_t ipv6_default_route;   /* @12 non-zero: flush that too */
    char ifname[RD_REST_FROM(16)]; /* @16 */
};

/* RD_CMD_DHCP_RELEASE: releases DHCP leases. */
struct DhcpReleaseRequest {
    int32_t dhcp4; /* @12 non-zero: the IPv4 lease */
    int32_t dhcp6; /* @16 non-zero: the IPv6 lease */
};

/* RD_CMD_NGM_DEBUG: pings routers and browses for three seconds. */
struct NgmDebugRequest {
    int32_t interface_index;         /* @12 to browse on; -1: all; not 0 */
    int32_t count;                   /* @16 of routers, at most 4; less than 0 counts as 0 */
    char router[4][RD_ADDRESS_SIZE]; /* @20 IPv6 */
};

/* RD_CMD_MDNS_BROWSE: starts or stops a browse. */
enum MdnsBrowseOperation { RD_MDNS_BROWSE_STOP, RD_MDNS_BROWSE_START };
struct MdnsBrowseRequest {
    uint32_t start;                      /* @12 MdnsBrowseOperation; all but 0: start */
    uint32_t firewall;                   /* @16 non-zero: switch the "mdns" rule set too */
    int32_t interface_index;             /* @20 -1: all; not 0 */
    char service_type[RD_REST_FROM(24)]; /* @24 31 characters count */
};

/* RD_CMD_INIT_SMARTNIC: sets up or tears down the smart-NIC layout on a physical interface. */
enum SmartnicMode { RD_SMARTNIC_TEAR_DOWN, RD_SMARTNIC_SET_UP };
struct InitSmartnicRequest {
    uint32_t mode;                    /* @12 SmartnicMode */
    int32_t count;                    /* @16 of smart-NIC interfaces, at most 4; less than 0 counts as 0 */
    char snic_mac[4][RD_MAC_SIZE];    /* @20 */
    char lower[RD_IFNAME_SIZE];       /* @92 the management interface */
    char mif_mac[RD_MAC_SIZE];        /* @108 */
    char physical[RD_REST_FROM(126)]; /* @126 */
};

/* RD_CMD_INIT_FRONTDEDICATED: prepares the front dedicated port. */
struct InitFrontdedicatedRequest {
    uint32_t link_state;         /* @12 LinkState; all but 0: up */
    int32_t autoneg;             /* @16 Autoneg; all but -1 and 0: on */
    int32_t speed;               /* @20 Mb/s, when autoneg is 0 */
    uint32_t duplex;             /* @24 Duplex, when autoneg is 0; all but 0: full */
    char ifname[RD_IFNAME_SIZE]; /* @28 */
    char mac[RD_MAC_SIZE];       /* @44 */
};

/* RD_CMD_INIT_FLOP_USB_NIC: prepares a USB NIC. */
struct InitFlopUsbNicRequest {
    uint32_t link_state;         /* @12 LinkState; all but 0: up */
    char ifname[RD_IFNAME_SIZE]; /* @16 */
    char mac[RD_MAC_SIZE];       /* @32 */
};

/* RD_CMD_LINK_TUNING: auto-negotiation, speed and duplex. */
struct LinkTuningRequest {
    uint32_t autoneg; /* @12 Autoneg, on or off */
    uint32_t speed;   /* @16 Mb/s when autoneg is 0: 10, 100, 1000, 2500, 10000, 20000, 25000, 40000, 50000, 100000 */
    uint32_t duplex;  /* @20 Duplex, when autoneg is 0; all but 0: full */
    uint32_t link_state;           /* @24 LinkState afterwards; all but 0: up */
    char ifname[RD_REST_FROM(28)]; /* @28 */
};

struct StaticRouteEntry {
    char lladdr[RD_MAC_SIZE];     /* @0 the router's MAC address */
    char router[RD_ADDRESS_SIZE]; /* @18 IPv6; the entry is skipped when empty */
    char prefix[RD_ADDRESS_SIZE]; /* @64 destination */
    int32_t prefix_len;           /* @112 */
};

/* RD_CMD_STATIC_ADDRS: static addresses, default gateway and routes of one address family. */
struct StaticAddrsRequest {
    uint32_t dad;                     /* @12 IPv4: non-zero probes for another holder first */
    uint32_t ipv6;                    /* @16 0: IPv4, else IPv6 */
    int32_t prefix_len;               /* @20 */
    uint32_t autoconfig_only;         /* @24 non-zero: only switch IPv6 on, with the autoconfiguration below */
    uint32_t autoconfig;              /* @28 */
    char ifname[RD_IFNAME_SIZE];      /* @32 */
    char address[RD_ADDRESS_SIZE];    /* @48 may be empty */
    char gateway[RD_ADDRESS_SIZE];    /* @94 may be empty */
    struct StaticRouteEntry route[2]; /* @140 IPv6 */
};

struct RequestFrame {
    struct RequestHeader header;
    union { /* a record for each command: link is of RD_CMD_LINK */
        char payload[RD_PAYLOAD_SIZE];
        struct AutoconfigRequest autoconfig;
        struct UsbnicRequest usbnic;
        struct MgmtReconfigRequest mgmt_reconfig;
        struct ServiceRequest service;
        struct FirewallRequest firewall;
        struct ConjoinRequest conjoin;
        struct LinkRequest link;
        struct NameRequest hostname;
        struct NameRequest domainname;
        struct ArpingRequest arping;
        struct BcIpRulesRequest bc_ip_rules;
        struct VlanPriorityRequest vlan_priority;
        struct SlbcRequest slbc;
        struct SendPacketRequest send_packet;
        struct NameRequest hosts_file;
        struct Ipv4DadRequest ipv4_dad;
        struct InitIfacesRequest init_ifaces;
        struct SidebandRequest sideband;
        struct ResetMgmtRequest reset_mgmt;
        struct MifFlushRequest mif_flush;
        struct DhcpReleaseRequest dhcp_release;
        struct NgmDebugRequest ngm_debug;
        struct MdnsBrowseRequest mdns_browse;
        struct InitSmartnicRequest init_smartnic;
        struct InitFrontdedicatedRequest init_frontdedicated;
        struct InitFlopUsbNicRequest init_flop_usb_nic;
        struct LinkTuningRequest link_tuning;
        struct StaticAddrsRequest static_addrs;
    };
};

struct ReplyFrame {
    uint32_t cmd;       /* @0 the request's, also when it is unknown */
    uint32_t reserved;  /* @4 0 */
    uint32_t tag;       /* @8 the request's */
    int32_t rc;         /* @12 a ResultCode, a wait status or a number of bytes */
    char padding[1020]; /* @16 zeros: no command returns data */
};
#endif
