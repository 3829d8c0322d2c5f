// q7net-shellexec: entry, run modes and signals.
//
//     q7net-shellexec zmqs               the command server
//     q7net-shellexec mdnspub ADDRESS    the publisher of the controller's mDNS host record
//
// Exit status: 15 without an argument, 1 after SIGABRT, else 0.

#include "core/server.h"
#include "core/validate.h"
#include "log/log.h"
#include "mdns/publish.h"

#include <cstdio>

#include <arpa/inet.h>
#include <signal.h>
#include <unistd.h>

static constexpr int kNoCommandStatus = 15;
static constexpr const char *kPublishInterface = "usbpt";

static void rd_signal_handler(int sig)
{
    if (sig == SIGCHLD) {
        rd_sigchld_count++;
    } else if (sig == SIGABRT) {
        _exit(1); // at once and without a core dump: the service manager starts us again
    }
}

// No SA_RESTART: a child that ends shall interrupt the server's receive, to be reaped at once.
static void install_signal_handler(int sig, const char *complaint)
{
    struct sigaction action {
    };
    action.sa_handler = rd_signal_handler;
    sigemptyset(&action.sa_mask);
    if (sigaction(sig, &action, nullptr) != 0) {
        perror(complaint);
    }
}

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
    install_signal_handler(SIGABRT, "sigaction sigabrt");
    install_signal_handler(SIGCHLD, "sigaction sigchld");
    if (strcmp(argv[1], "zmqs") == 0) {
        rd_server();
    } else if (strncmp(argv[1], "mdnspub", strlen("mdnspub")) == 0 && argc == 3) {
        rd_publish_start(argv[2]);
    }
    return 0;
}
