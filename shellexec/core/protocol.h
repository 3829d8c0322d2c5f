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

#define RD_IFNAME_SIZE 16 /* an interface name with its NUL */

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
 * waitpid(2) stores it: 256 is exit status 1, 65280 a tool that could not be executed, 9 death by SIGKILL.
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

/* RD_CMD_LINK: sets a link up or down. */
struct LinkControlRequest {
    uint32_t state; /* 0: down, else up */
    char ifname[RD_IFNAME_SIZE];
};

#define RD_PAYLOAD_SIZE 1024

struct RequestFrame {
    struct RequestHeader header;
    union {
        char payload[RD_PAYLOAD_SIZE];
        struct LinkControlRequest link;
    };
};

struct ReplyFrame {
    uint32_t cmd;       /* the request's, also when it is unknown */
    uint32_t reserved;  /* 0 */
    uint32_t tag;       /* the request's */
    int32_t rc;         /* a ResultCode or a wait status */
    char padding[1020]; /* zeros: no command returns data */
};

static_assert(sizeof(struct RequestHeader) == 12, "");
static_assert(sizeof(struct RequestFrame) == 1036, "");
static_assert(sizeof(struct ReplyFrame) == 1036, "");
static_assert(offsetof(struct ReplyFrame, rc) == 12, "");

/* Offsets count from the start of the frame. */
static_assert(offsetof(struct RequestFrame, payload) == 12, "");
static_assert(offsetof(struct RequestFrame, link.state) == 12, "");
static_assert(offsetof(struct RequestFrame, link.ifname) == 16, "");

#endif
