// q7net-shellexec: entry, run modes and signals.
//
//     q7net-shellexec zmqs               the command server
//     q7net-shellexec mdnspub ADDRESS    the publisher of the controller's mDNS host record
//
// Exit status: 15 without an argument, 1 after SIGABRT, else 0.

#include "base/log.h"
#include "base/validate.h"
#include "mdns/publish.h"
#include "notify.h"
#include "server.h"
#include "signals.h"

#include <cstring>

#include <arpa/inet.h>

static constexpr int kNoCommandStatus = 15;
static constexpr const char *kPublishInterface = "usbpt";

static void rd_publish_start(const char *address)
{
    in6_addr ipv6;
    if (rd_validate_ipv4(address) != RD_RC_OK && inet_pton(AF_INET6, address, &ipv6) != 1) {
        RD_ERROR("Invalid IP address\n");
        return;
    }
    RD_INFO("publishing ovrak.local=%s on %s\n", address, kPublishInterface);
    const int rc = av_publish_start(address, kPublishInterface);
    RD_INFO("avahi publishing started rc=%d\n", rc);
}

int main(int argc, char *argv[])
{
    if (argc < 2) {
        RD_INFO("no command\n");
        return kNoCommandStatus;
    }
    rd_install_signal_handlers();
    rd_take_notify_socket();
    if (strcmp(argv[1], "zmqs") == 0) {
        rd_server();
    } else if (strncmp(argv[1], "mdnspub", strlen("mdnspub")) == 0 && argc == 3) {
        rd_publish_start(argv[2]);
    }
    return 0;
}
