/*
 * The contract between q7net-shellexec and its clients: endpoint, frames, command and result codes.
 *
 * Every request is one single-part message on a ZeroMQ REQ socket connected to RD_ENDPOINT: a RequestFrame,
 * in the machine's own (little-endian) byte order, cut behind its command's record if the client likes: what
 * a frame leaves out reads as zeros. Every answer is one ReplyFrame. Texts are NUL-terminated within their
 * field.
 *
 * Plain C, so that C and C++ clients can include it.
 */
#ifndef Q7NET_PROTOCOL_H
#define Q7NET_PROTOCOL_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#define RD_SOCKET_PATH "/run/q7net/q7rd.socket"
#define RD_ENDPOINT "ipc://" RD_SOCKET_PATH
#define RD_MAX_MESSAGE 65536 /* bytes; the sender of a larger message loses its connection */

/* Widths of text fields, with the NUL. */
#define RD_IFNAME_SIZE 16
#define RD_IPV4_SIZE 16
#define RD_ADDRESS_SIZE 46 /* IPv4 or IPv6 */
#define RD_MAC_SIZE 18

#define RD_PAYLOAD_SIZE 1024
#define RD_REST_FROM(offset) (RD_PAYLOAD_SIZE - (offset)) /* a last field that runs to the end of the frame */

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

struct RequestHeader {
    uint32_t cmd;  /* a CommandCode */
    uint32_t wait; /* RD_CMD_SERVICE: 1 waits for the tool; ignored by all others */
    uint32_t tag;  /* the client's own number, echoed in the reply and shown in the log */
};

/* RD_CMD_AUTOCONFIG: launches system auto-configuration, or stops the server-configuration agent. */
struct AutoconfigRequest {
    char autoconf_arg[RD_PAYLOAD_SIZE]; /* the script's argument, empty for none; "disable" stops the agent */
};

/* RD_CMD_USBNIC: the USB network function that the host server sees. */
struct UsbnicRequest {
    uint32_t action;      /* 0 down, 1 up, 2 renew the global IPv6 addresses, 3 create the gadget */
    uint32_t gadget_flag; /* creating: passed to the gadget script as 1 (non-zero) or 0 */
    uint32_t dhcp_server; /* up and down: non-zero starts the DHCP server, 0 stops it */
    char host_mac[RD_MAC_SIZE];
    char device_mac[RD_MAC_SIZE];
    uint32_t prefix_length; /* of IPv4 addresses; above 32 counts as 32 */
    char address[3][RD_ADDRESS_SIZE];
};

/* RD_CMD_MGMT_RECONFIG: brings the management interface into shape. */
struct MgmtReconfigRequest {
    uint32_t action;        /* 1: rebuild it; 0: reapply its IPv6 settings; else neither */
    int32_t mtu;            /* of the interface that carries the addresses; cut to four characters */
    uint32_t macvlan;       /* when rebuilding: 0: a bond of the lwr slots, else a passthru macvlan on the first */
    uint32_t vlan;          /* VLAN id on top of it; 0 and values above 4094: none */
    int32_t i6_ena;         /* 0: IPv6 off */
    int32_t i6_auto;        /* non-zero: accept router advertisements */
    uint32_t mif_linkstate; /* of the management interface; 0: down, else up */
    uint32_t ded_linkstate; /* of ded and ded2 */
    int32_t hoplimit;       /* IPv6; 0: leave unchanged */
    uint8_t reserved[12];
    int32_t stabpriv; /* IPv6 address generation; -1: leave alone, 0: EUI-64, else stable privacy */
    char mif[RD_IFNAME_SIZE];
    char ded[RD_IFNAME_SIZE];  /* may be empty */
    char ded2[RD_IFNAME_SIZE]; /* may be empty; looked at only when ded is not */
    char mac[RD_MAC_SIZE];     /* of a bond */
    char lwr[3][RD_IFNAME_SIZE];
};

/* RD_CMD_SERVICE: stops, starts or restarts a service; the header's wait decides whether to wait for it. */
struct ServiceRequest {
    uint32_t service; /* 0 avahi-daemon, 1 lldpd-topology, 2 llmnrd, 3 network, 4 nodediscd, 5 the DHCP client of the
                         KX management interface, 6 radvd, 7 dhclient, 8 dhclient6, 9 dhclient6s, 10 dhcpd6,
                         11 q7mdnspublish, 12 wpa_supplicant, 13 ddnsreg */
    uint32_t action;  /* 0 stop, 1 start, 2 restart */
};

/* RD_CMD_FIREWALL: switches a firewall rule set. */
struct FirewallRequest {
    uint32_t ruleset;   /* 0 mdns, 1 dedipv4, 2 USB NAT, 3 ping, 4 dpufilt */
    uint32_t operation; /* 1 apply, 0 remove */
    uint8_t reserved[16];
    char ifname[RD_IFNAME_SIZE];   /* dedipv4 */
    char argument[4][RD_MAC_SIZE]; /* dpufilt */
};

/* RD_CMD_CONJOIN: adds lower interfaces to an existing bond. */
struct ConjoinRequest {
    char bond[RD_IFNAME_SIZE];
    char lower[3][RD_IFNAME_SIZE]; /* the first becomes primary and active; empty slots are skipped */
};

/* RD_CMD_LINK: sets a link up or down. */
struct LinkControlRequest {
    uint32_t state; /* 0: down, else up */
    char ifname[RD_IFNAME_SIZE];
};

/* RD_CMD_HOSTNAME, RD_CMD_DOMAINNAME, RD_CMD_HOSTS_FILE: the name to set, of at most 257 characters. */
struct NameRequest {
    char name[RD_PAYLOAD_SIZE];
};

/* RD_CMD_ARPING: announces an address by ARP. */
struct ArpingRequest {
    char ifname[RD_IFNAME_SIZE];
    char address[RD_IPV4_SIZE];
    char gateway[RD_REST_FROM(32)]; /* IPv4 */
};

/* RD_CMD_BC_IP_RULES: the back channel's IP rules. Texts that begin with "none" stand for no value. */
struct BcIpRulesRequest {
    char ifname[RD_IFNAME_SIZE];
    char address[RD_IPV4_SIZE];
    char netmask[RD_IPV4_SIZE];
    char gateway[RD_IPV4_SIZE];
    char dns[RD_IPV4_SIZE];
    char table[12]; /* must begin with "rt2" */
    int32_t option; /* at most 1; 0 is passed on as 0, any other value as 1 */
    char ded_mac[RD_MAC_SIZE];
};

/* RD_CMD_VLAN_PRIORITY: the 802.1p priority of all that leaves a VLAN interface. */
struct VlanPriorityRequest {
    uint32_t priority; /* 0 to 7 */
    char ifname[RD_REST_FROM(4)];
};

/* RD_CMD_SLBC: sets up or tears down the back channel. */
struct SlbcRequest {
    uint32_t operation;     /* 1 set up, else tear down */
    uint32_t topology_lldp; /* 0: all rules; 1: without the final DROP rules; up to 2147483647: fewer still */
    char ifname[RD_IFNAME_SIZE];
    char proxy[RD_IPV4_SIZE]; /* may be empty */
};

/* RD_CMD_SEND_PACKET: sends the frame stored for an interface; rc is the number of bytes sent, 64 to 1522. */
struct SendPacketRequest {
    char ifname[RD_PAYLOAD_SIZE];
};

/* RD_CMD_IPV4_DAD: probes for another holder of an address. */
struct DadRequest {
    char ifname[RD_IFNAME_SIZE];
    char ipaddr[RD_IPV4_SIZE];
    uint32_t prefix_len; /* 0 to 32 */
};

/* RD_CMD_INIT_IFACES: prepares the controller's interfaces. */
struct InitRequest {
    uint32_t is_modular; /* the controller sits in a slot: build the internal VLANs */
    uint32_t is_ngm;     /* internal link eth0 with IPv6, else eth3 with IPv4 */
    uint32_t init_eth0;  /* non-zero: IPv6 off on eth0 */
    uint32_t init_eth3;  /* non-zero: IPv6 off on eth3 */
    uint32_t init_frded; /* non-zero: IPv6 off on eth1 */
    uint8_t reserved[4];
    uint32_t init_kx; /* non-zero: set up the KX management interface */
    uint8_t slot;     /* 1 to 254 */
    char secret_seed_a[18];
    char macaddress[36]; /* must not be empty on a modular system */
    char kx_mac[RD_MAC_SIZE];
    char kx_ifname[RD_IFNAME_SIZE];
    char secret_seed_b[RD_REST_FROM(117)];
};

/* RD_CMD_SIDEBAND: adds or deletes the side-band macvlans. */
struct SidebandRequest {
    uint32_t operation; /* 1 add, else delete */
    uint32_t macv2;     /* non-zero: act on macv2 on eth2 */
    uint32_t macv3;     /* non-zero: act on macv3 on eth3 */
    uint32_t macve0;    /* non-zero: act on macve0 on usbe0 */
    char macv2_mac[RD_MAC_SIZE];
    char macv3_mac[RD_MAC_SIZE];
};

/* RD_CMD_RESET_MGMT: deletes the management interface. */
struct ResetMgmtRequest {
    uint32_t set_mac; /* non-zero: give mac to eth3 and eth2 */
    uint32_t macsec;  /* non-zero: delete macsec0 too */
    char ifname[RD_IFNAME_SIZE];
    char mac[RD_MAC_SIZE];
};

/* RD_CMD_MIF_FLUSH: takes the global addresses off the management interface. */
struct MifFlushRequest {
    uint32_t ipv6_default_route; /* non-zero: flush that too */
    char ifname[RD_REST_FROM(4)];
};

/* RD_CMD_DHCP_RELEASE: releases DHCP leases. */
struct DhcpReleaseRequest {
    int32_t dhcp4; /* non-zero: the IPv4 lease */
    int32_t dhcp6; /* non-zero: the IPv6 lease */
};

/* RD_CMD_NGM_DEBUG: pings routers and browses for three seconds. */
struct RouterProbeRequest {
    int32_t interface_index;         /* to browse on; -1: all; not 0 */
    int32_t count;                   /* of routers, at most 4; less than 0 counts as 0 */
    char router[4][RD_ADDRESS_SIZE]; /* IPv6 */
};

/* RD_CMD_MDNS_BROWSE: starts or stops a browse. */
struct MdnsBrowseServiceRequest {
    uint32_t start;                      /* 0: stop, else start */
    uint32_t firewall;                   /* non-zero: switch the "mdns" rule set too */
    int32_t interface_index;             /* -1: all; not 0 */
    char service_type[RD_REST_FROM(12)]; /* 31 characters count */
};

/* RD_CMD_INIT_SMARTNIC: sets up or tears down the smart-NIC layout on a physical interface. */
struct SmartnicRequest {
    uint32_t mode; /* 1 set up, 0 tear down */
    int32_t count; /* of smart-NIC interfaces, at most 4; less than 0 counts as 0 */
    char snic_mac[4][RD_MAC_SIZE];
    char lower[RD_IFNAME_SIZE]; /* the management interface */
    char mif_mac[RD_MAC_SIZE];
    char physical[RD_REST_FROM(114)];
};

/* RD_CMD_INIT_FRONTDEDICATED: prepares the front dedicated port. */
struct FrontdedicatedRequest {
    uint32_t link_state; /* 0 down, else up */
    int32_t autoneg;     /* -1 leave alone, 0 off, else on */
    int32_t speed;       /* Mb/s, when autoneg is 0 */
    uint32_t duplex;     /* when autoneg is 0; 0: half, else full */
    char ifname[RD_IFNAME_SIZE];
    char mac[RD_MAC_SIZE];
};

/* RD_CMD_INIT_FLOP_USB_NIC: prepares a USB NIC. */
struct FlopUsbNicRequest {
    uint32_t link_state; /* 0 down, else up */
    char ifname[RD_IFNAME_SIZE];
    char mac[RD_MAC_SIZE];
};

/* RD_CMD_LINK_TUNING: auto-negotiation, speed and duplex. */
struct LinkTuningRequest {
    uint32_t autoneg;    /* 1 on, 0 off */
    uint32_t speed;      /* Mb/s when autoneg is 0: 10, 100, 1000, 2500, 10000, 20000, 25000, 40000, 50000, 100000 */
    uint32_t duplex;     /* when autoneg is 0; 0: half, else full */
    uint32_t link_state; /* 0: set the link down afterwards, else leave it up */
    char ifname[RD_REST_FROM(16)];
};

struct StaticRouteEntry {
    char lladdr[RD_MAC_SIZE];     /* the router's MAC address */
    char router[RD_ADDRESS_SIZE]; /* IPv6; the entry is skipped when empty */
    char prefix[RD_ADDRESS_SIZE]; /* destination */
    int32_t prefix_len;
};

/* RD_CMD_STATIC_ADDRS: static addresses, default gateway and routes of one address family. */
struct StaticAddrRequest {
    uint32_t dad;  /* IPv4: non-zero probes for another holder first */
    uint32_t ipv6; /* 0: IPv4, else IPv6 */
    int32_t prefix_len;
    uint32_t autoconfig_only; /* non-zero: only switch IPv6 on, with the autoconfiguration below */
    uint32_t autoconfig;
    char ifname[RD_IFNAME_SIZE];
    char address[RD_ADDRESS_SIZE];    /* may be empty */
    char gateway[RD_ADDRESS_SIZE];    /* may be empty */
    struct StaticRouteEntry route[2]; /* IPv6 */
};

struct RequestFrame {
    struct RequestHeader header;
    union {
        char payload[RD_PAYLOAD_SIZE];
        struct AutoconfigRequest autoconfig;
        struct MgmtReconfigRequest mgmt;
        struct ServiceRequest service;
        struct ConjoinRequest conjoin;
        struct LinkControlRequest link;
        struct DadRequest dad;
        struct InitRequest init;
        struct DhcpReleaseRequest dhcp_release;
        struct LinkTuningRequest tuning;
        struct StaticAddrRequest static_addrs;
        struct UsbnicRequest usbnic;
        struct FirewallRequest firewall;
        struct NameRequest netname;
        struct ArpingRequest arping;
        struct BcIpRulesRequest bc_ip_rules;
        struct VlanPriorityRequest vlan_priority;
        struct SlbcRequest slbc;
        struct SendPacketRequest send_packet;
        struct SidebandRequest sideband;
        struct ResetMgmtRequest reset_mgmt;
        struct MifFlushRequest mif_flush;
        struct RouterProbeRequest ngm_debug;
        struct MdnsBrowseServiceRequest mdns_browse;
        struct SmartnicRequest smartnic;
        struct FrontdedicatedRequest frontdedicated;
        struct FlopUsbNicRequest flop_usb_nic;
    };
};

struct ReplyFrame {
    uint32_t cmd;       /* the request's, also when it is unknown */
    uint32_t reserved;  /* 0 */
    uint32_t tag;       /* the request's */
    int32_t rc;         /* a ResultCode, a wait status or a number of bytes */
    char padding[1020]; /* zeros: no command returns data */
};

static_assert(sizeof(struct RequestHeader) == 12, "");
static_assert(sizeof(struct RequestFrame) == 1036, "");
static_assert(sizeof(struct ReplyFrame) == 1036, "");
static_assert(offsetof(struct ReplyFrame, rc) == 12, "");

/* Offsets count from the start of the frame. */
static_assert(offsetof(struct RequestFrame, payload) == 12, "");
#define RD_AT(field, offset) static_assert(offsetof(struct RequestFrame, field) == (offset), "")
RD_AT(autoconfig.autoconf_arg, 12);
RD_AT(mgmt.action, 12);
RD_AT(mgmt.mtu, 16);
RD_AT(mgmt.macvlan, 20);
RD_AT(mgmt.vlan, 24);
RD_AT(mgmt.i6_ena, 28);
RD_AT(mgmt.i6_auto, 32);
RD_AT(mgmt.mif_linkstate, 36);
RD_AT(mgmt.ded_linkstate, 40);
RD_AT(mgmt.hoplimit, 44);
RD_AT(mgmt.stabpriv, 60);
RD_AT(mgmt.mif, 64);
RD_AT(mgmt.ded, 80);
RD_AT(mgmt.ded2, 96);
RD_AT(mgmt.mac, 112);
RD_AT(mgmt.lwr, 130);
RD_AT(service.service, 12);
RD_AT(service.action, 16);
RD_AT(conjoin.bond, 12);
RD_AT(conjoin.lower, 28);
RD_AT(link.state, 12);
RD_AT(link.ifname, 16);
RD_AT(dad.ifname, 12);
RD_AT(dad.ipaddr, 28);
RD_AT(dad.prefix_len, 44);
RD_AT(init.is_modular, 12);
RD_AT(init.is_ngm, 16);
RD_AT(init.init_eth0, 20);
RD_AT(init.init_eth3, 24);
RD_AT(init.init_frded, 28);
RD_AT(init.init_kx, 36);
RD_AT(init.slot, 40);
RD_AT(init.secret_seed_a, 41);
RD_AT(init.macaddress, 59);
RD_AT(init.kx_mac, 95);
RD_AT(init.kx_ifname, 113);
RD_AT(init.secret_seed_b, 129);
RD_AT(dhcp_release.dhcp4, 12);
RD_AT(dhcp_release.dhcp6, 16);
RD_AT(tuning.autoneg, 12);
RD_AT(tuning.speed, 16);
RD_AT(tuning.duplex, 20);
RD_AT(tuning.link_state, 24);
RD_AT(tuning.ifname, 28);
RD_AT(static_addrs.dad, 12);
RD_AT(static_addrs.ipv6, 16);
RD_AT(static_addrs.prefix_len, 20);
RD_AT(static_addrs.autoconfig_only, 24);
RD_AT(static_addrs.autoconfig, 28);
RD_AT(static_addrs.ifname, 32);
RD_AT(static_addrs.address, 48);
RD_AT(static_addrs.gateway, 94);
RD_AT(static_addrs.route, 140);
RD_AT(static_addrs.route[1], 256);
RD_AT(usbnic.action, 12);
RD_AT(usbnic.gadget_flag, 16);
RD_AT(usbnic.dhcp_server, 20);
RD_AT(usbnic.host_mac, 24);
RD_AT(usbnic.device_mac, 42);
RD_AT(usbnic.prefix_length, 60);
RD_AT(usbnic.address, 64);
RD_AT(usbnic.address[2], 156);
RD_AT(firewall.ruleset, 12);
RD_AT(firewall.operation, 16);
RD_AT(firewall.ifname, 36);
RD_AT(firewall.argument, 52);
RD_AT(firewall.argument[3], 106);
RD_AT(netname.name, 12);
RD_AT(arping.ifname, 12);
RD_AT(arping.address, 28);
RD_AT(arping.gateway, 44);
RD_AT(bc_ip_rules.ifname, 12);
RD_AT(bc_ip_rules.address, 28);
RD_AT(bc_ip_rules.netmask, 44);
RD_AT(bc_ip_rules.gateway, 60);
RD_AT(bc_ip_rules.dns, 76);
RD_AT(bc_ip_rules.table, 92);
RD_AT(bc_ip_rules.option, 104);
RD_AT(bc_ip_rules.ded_mac, 108);
RD_AT(vlan_priority.priority, 12);
RD_AT(vlan_priority.ifname, 16);
RD_AT(slbc.operation, 12);
RD_AT(slbc.topology_lldp, 16);
RD_AT(slbc.ifname, 20);
RD_AT(slbc.proxy, 36);
RD_AT(send_packet.ifname, 12);
RD_AT(sideband.operation, 12);
RD_AT(sideband.macv2, 16);
RD_AT(sideband.macv3, 20);
RD_AT(sideband.macve0, 24);
RD_AT(sideband.macv2_mac, 28);
RD_AT(sideband.macv3_mac, 46);
RD_AT(reset_mgmt.set_mac, 12);
RD_AT(reset_mgmt.macsec, 16);
RD_AT(reset_mgmt.ifname, 20);
RD_AT(reset_mgmt.mac, 36);
RD_AT(mif_flush.ipv6_default_route, 12);
RD_AT(mif_flush.ifname, 16);
RD_AT(smartnic.mode, 12);
RD_AT(smartnic.count, 16);
RD_AT(smartnic.snic_mac, 20);
RD_AT(smartnic.snic_mac[3], 74);
RD_AT(smartnic.lower, 92);
RD_AT(smartnic.mif_mac, 108);
RD_AT(smartnic.physical, 126);
RD_AT(frontdedicated.link_state, 12);
RD_AT(frontdedicated.autoneg, 16);
RD_AT(frontdedicated.speed, 20);
RD_AT(frontdedicated.duplex, 24);
RD_AT(frontdedicated.ifname, 28);
RD_AT(frontdedicated.mac, 44);
RD_AT(flop_usb_nic.link_state, 12);
RD_AT(flop_usb_nic.ifname, 16);
RD_AT(flop_usb_nic.mac, 32);
RD_AT(ngm_debug.interface_index, 12);
RD_AT(ngm_debug.count, 16);
RD_AT(ngm_debug.router, 20);
RD_AT(ngm_debug.router[3], 158);
RD_AT(mdns_browse.start, 12);
RD_AT(mdns_browse.firewall, 16);
RD_AT(mdns_browse.interface_index, 20);
RD_AT(mdns_browse.service_type, 24);
#undef RD_AT

/* The records whose last field runs to the end of the frame. */
#define RD_WHOLE(record) static_assert(sizeof(struct record) == RD_PAYLOAD_SIZE, "")
RD_WHOLE(AutoconfigRequest);
RD_WHOLE(NameRequest);
RD_WHOLE(ArpingRequest);
RD_WHOLE(VlanPriorityRequest);
RD_WHOLE(SendPacketRequest);
RD_WHOLE(InitRequest);
RD_WHOLE(MifFlushRequest);
RD_WHOLE(LinkTuningRequest);
RD_WHOLE(SmartnicRequest);
RD_WHOLE(MdnsBrowseServiceRequest);
#undef RD_WHOLE

static_assert(sizeof(struct StaticRouteEntry) == 116, "");
static_assert(offsetof(struct StaticRouteEntry, router) == 18, "");
static_assert(offsetof(struct StaticRouteEntry, prefix) == 64, "");
static_assert(offsetof(struct StaticRouteEntry, prefix_len) == 112, "");

#endif
