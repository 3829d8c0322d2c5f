#include "mdns/publish.h"

#include "base/log.h"
#include "base/text.h"
#include <q7net/protocol.h>

#include <arpa/inet.h>
#include <avahi-client/publish.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <net/if.h>

// Touched by the main thread only: Avahi's loop and all callbacks run there.
static struct MdnsPublisherState {
    int32_t interface_index;
    char address[RD_ADDRESS_SIZE];
    AvahiEntryGroup *group; // goes with its client
    AvahiSimplePoll *poll;  // the running loop, until it has been asked to quit
    bool restart;           // it was asked to quit because the Avahi daemon has gone
} publisher;

static constexpr auto kShared = AvahiPublishFlags(AVAHI_PUBLISH_USE_MULTICAST | AVAHI_PUBLISH_ALLOW_MULTIPLE);
static constexpr struct {
    const char *name;
    AvahiPublishFlags flags;
    uint32_t ttl; // s
} kRecords[] = {
    {"ovrak", kShared, 120},
    {"ovrak.local", AvahiPublishFlags(kShared | AVAHI_PUBLISH_UNIQUE), 4500},
};

static const char *client_error(AvahiClient *client)
{
    return avahi_strerror(avahi_client_errno(client));
}

static void quit_loop()
{
    if (publisher.poll != nullptr) {
        avahi_simple_poll_quit(publisher.poll);
        publisher.poll = nullptr;
    }
}

static void drop_group()
{
    if (publisher.group != nullptr) {
        avahi_entry_group_free(publisher.group);
        publisher.group = nullptr;
    }
}

static void av_pub_cleanup()
{
    RD_INFO("cleaning up avahi publishing of ovrak.local\n");
    drop_group();
    quit_loop();
}

static void av_entry_group_callback(AvahiEntryGroup *group, AvahiEntryGroupState state, void * /*userdata*/)
{
    publisher.group = group; // the first call comes from inside avahi_entry_group_new
    if (state == AVAHI_ENTRY_GROUP_FAILURE) {
        RD_DEBUG("Avahi entry group failure: %s. quitting simple_poll\n",
                 client_error(avahi_entry_group_get_client(group)));
        quit_loop();
    }
}

static void av_create_dns_record(AvahiClient *client)
{
    if (publisher.group == nullptr) {
        publisher.group = avahi_entry_group_new(client, av_entry_group_callback, nullptr);
        if (publisher.group == nullptr) {
            RD_ERROR("failed to create new avahi group: %s\n", client_error(client));
            RD_DEBUG("quitting simple_poll\n");
            quit_loop();
            return;
        }
    }
    if (avahi_entry_group_is_empty(publisher.group) == 0) {
        return; // the records are there
    }

    unsigned char rdata[sizeof(in6_addr)];
    uint16_t type = AVAHI_DNS_TYPE_A;
    size_t size = sizeof(in_addr);
    if (inet_pton(AF_INET, publisher.address, rdata) != 0) {
        RD_INFO("publishing IPv4\n");
    } else if (inet_pton(AF_INET6, publisher.address, rdata) == 0) {
        RD_ERROR("inet-pton conversion error for %s\n", publisher.address);
        return;
    } else {
        RD_INFO("publishing IPv6\n");
        type = AVAHI_DNS_TYPE_AAAA;
        size = sizeof(in6_addr);
    }

    int rc = 0;
    for (const auto &record : kRecords) {
        RD_DEBUG("mDNS publishing DNS record %s=%s\n", record.name, publisher.address);
        rc = avahi_entry_group_add_record(publisher.group, publisher.interface_index, AVAHI_PROTO_UNSPEC, record.flags,
                                          record.name, AVAHI_DNS_CLASS_IN, type, record.ttl, rdata, size);
        if (rc < 0) {
            RD_ERROR("mDNS failed to add record %s=%s: %s\n", record.name, publisher.address, avahi_strerror(rc));
            break;
        }
        RD_DEBUG("mDNS published DNS record %s=%s on iface #%d\n", record.name, publisher.address,
                 publisher.interface_index);
    }
    if (rc >= 0) {
        rc = avahi_entry_group_commit(publisher.group);
        if (rc >= 0) {
            RD_INFO("avahi entry group committed\n");
            return;
        }
        RD_ERROR("entry group commit failure: %s\n", avahi_strerror(rc));
    }
    RD_DEBUG("quitting simple_poll\n");
    quit_loop();
}

static void av_client_cb(AvahiClient *client, AvahiClientState state, void * /*userdata*/)
{
    switch (state) {
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
        RD_INFO("collision or registering\n");
        if (publisher.group != nullptr) { // made again when the client next runs
            avahi_entry_group_reset(publisher.group);
            drop_group();
        }
        break;
    case AVAHI_CLIENT_S_RUNNING:
        RD_INFO("client is running, create dns record\n");
        av_create_dns_record(client);
        break;
    case AVAHI_CLIENT_FAILURE:
        RD_DEBUG("avahi daemon restarted: %s\n", client_error(client));
        if (avahi_client_errno(client) == AVAHI_ERR_DISCONNECTED) {
            // Avahi still uses the client here: av_publish frees it when the loop has returned, and starts again.
            RD_DEBUG("freeing client and resetting entry group\n");
            publisher.restart = true;
            quit_loop();
        } else {
            RD_DEBUG("quitting simple_poll\n");
            av_pub_cleanup();
        }
        break;
    case AVAHI_CLIENT_CONNECTING: break;
    }
}

// One publishing run: poll object, client, loop.
static int av_publish()
{
    int rc = 0;
    publisher.restart = false;
    RD_INFO("\n");
    RD_DEBUG("creating avahi simple poll object\n");
    AvahiSimplePoll *const poll = avahi_simple_poll_new();
    publisher.poll = poll;
    if (poll == nullptr) {
        RD_ERROR("failed to create avahi simple poll object\n");
        rc = kPublishFailed;
    } else {
        RD_DEBUG("created avahi simple poll object\n");
        RD_DEBUG("creating avahi client\n");
        // Succeeds without an Avahi daemon too, and then waits for it. The first callback comes from inside this call.
        AvahiClient *const client =
            avahi_client_new(avahi_simple_poll_get(poll), AVAHI_CLIENT_NO_FAIL, av_client_cb, nullptr, nullptr);
        if (client == nullptr) {
            RD_ERROR("failed to create avahi mdns client\n");
            publisher.restart = false;
            rc = kPublishFailed;
        } else {
            avahi_simple_poll_loop(poll);
            RD_DEBUG("poll loop exited\n");
            avahi_client_free(client);
        }
        avahi_simple_poll_free(poll);
        publisher.group = nullptr;
        publisher.poll = nullptr;
    }
    RD_INFO("exiting\n");
    return rc;
}

int av_publish_start(const char *address, const char *interface)
{
    if (address == nullptr || interface == nullptr) {
        RD_ERROR("invalid args\n");
        return -1;
    }
    const bool any = interface[0] == '\0' || interface[0] == '0';
    publisher.interface_index = any ? AVAHI_IF_UNSPEC : static_cast<int32_t>(if_nametoindex(interface));
    rd_format(publisher.address, "%s", address);
    const int rc = av_publish();
    while (publisher.restart) { // not from inside the callback, where the stack would grow with every restart
        av_publish();
    }
    RD_INFO("mdns publishing ended rc=%d\n", rc);
    return rc;
}
