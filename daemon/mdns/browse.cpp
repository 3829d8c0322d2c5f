#include "mdns/browse.h"

#include "base/child.h"
#include "base/file.h"
#include "base/log.h"
#include "base/text.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <strings.h>

#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>
#include <pthread.h>
#include <signal.h>

struct Browse {
    uint32_t cycles;
    int32_t interface_index;
    char service_type[32];
};

// Where the server thread and the browse threads meet. Under the guard the server thread makes a browse thread and asks a
// loop to quit, and a browse thread puts its poll object in or takes it out before freeing it: so a quit never reaches a
// freed object.
static std::mutex browse_guard;
static AvahiSimplePoll *av_browse_poll;               // of the running cycle
static const Browse *newest_browse;                   // the browse started last, be it running yet, still or no more
static thread_local AvahiSimplePoll *this_cycle_poll; // of the cycle whose callbacks run in this thread

static constexpr const char *kProvisioningType = "_zerotouchprovsrv._tcp";
static constexpr const char *kProvisioningFile = "/run/q7net/dhcp/vsizt";
static constexpr int kLongestBackOff = 10; // s

static const char *client_error(AvahiClient *client)
{
    return avahi_strerror(avahi_client_errno(client));
}

static void av_mdns_browse_client_cb(AvahiClient *client, AvahiClientState state, void * /*userdata*/)
{
    if (client == nullptr) {
        RD_DEBUG("invalid client\n");
        return;
    }
    switch (state) {
    case AVAHI_CLIENT_FAILURE:
        RD_INFO("cant connect to server: %s\n", client_error(client));
        avahi_simple_poll_quit(this_cycle_poll);
        break;
    case AVAHI_CLIENT_S_REGISTERING: RD_DEBUG("state = REGISTERING\n"); break;
    case AVAHI_CLIENT_S_RUNNING: RD_DEBUG("state = RUNNING\n"); break;
    case AVAHI_CLIENT_S_COLLISION: RD_DEBUG("state = COLLISION\n"); break;
    case AVAHI_CLIENT_CONNECTING: RD_DEBUG("state = CONNECTING\n"); break;
    }
}

static bool is_provisioning(const char *type)
{
    return strncmp(type, kProvisioningType, strlen(kProvisioningType)) == 0;
}

// Walks the items of a service's TXT record: the provisioning service's "args" goes to its file, of other services the
// device type and slot are kept.
static void av_get_mdns_txt_data(AvahiStringList *txt, const char *type, char (&device_type)[10], char (&slot)[3])
{
    for (; txt != nullptr; txt = avahi_string_list_get_next(txt)) {
        char *key = nullptr;
        char *value = nullptr;
        const int rc = avahi_string_list_get_pair(txt, &key, &value, nullptr);
        if (rc < 0) { // nothing was handed over, though key may still point to what Avahi has freed
            key = nullptr;
            value = nullptr;
        }
        RD_INFO("keypair: %s = %s\n", key != nullptr ? key : "(null)", value != nullptr ? value : "(null)");
        if (key != nullptr && value != nullptr) { // an item without a value announces nothing
            if (is_provisioning(type)) {
                if (strcasecmp(key, "args") == 0) {
                    char line[300];
                    for (char *end = value; (end = strpbrk(end, "\r\n")) != nullptr;) {
                        *end = '?'; // the file has one line, whatever comes
                    }
                    rd_format(line, "VSI=%s\n", value);
                    const auto [opened, error] = rd_write_file(kProvisioningFile, line);
                    if (!opened) {
                        RD_ERROR("unable to open zt file\n");
                    } else if (error != 0) {
                        RD_ERROR("unable to write zt file %s\n", ErrorText(error).c_str());
                    } else {
                        RD_INFO("updated zt file\n");
                    }
                }
            } else if (strcasecmp(key, "DEF_DEVICETYPE") == 0) {
                rd_format(device_type, "%s", value);
            } else if (strcasecmp(key, "DEF_SLOTINFO") == 0) {
                rd_format(slot, "%s", value);
            }
        }
        avahi_free(key);
        avahi_free(value);
    }
}

static void av_resolve_cb(AvahiServiceResolver *resolver, AvahiIfIndex /*interface*/, AvahiProtocol /*protocol*/,
                          AvahiResolverEvent event, const char *name, const char *type, const char *domain,
                          const char *host_name, const AvahiAddress *address, uint16_t /*port*/, AvahiStringList *txt,
                          AvahiLookupResultFlags /*flags*/, void * /*userdata*/)
{
    if (resolver == nullptr) {
        RD_ERROR("no service resolver\n");
        return;
    }
    if (event == AVAHI_RESOLVER_FAILURE) {
        RD_ERROR("unable to resolve service '%s' in domain '%s': %s\n", name, domain,
                 client_error(avahi_service_resolver_get_client(resolver)));
    } else if (event == AVAHI_RESOLVER_FOUND) {
        char address_text[AVAHI_ADDRESS_STR_MAX] = "";
        char device_type[10] = "";
        char slot[3] = "";
        if (address != nullptr) { // the daemon may have sent none
            avahi_address_snprint(address_text, sizeof address_text, address);
        }
        av_get_mdns_txt_data(txt, type, device_type, slot);
        RD_INFO("found srvc: %s %s-%s %s\n", host_name, device_type, slot, address_text);
    }
    avahi_service_resolver_free(resolver);
}

static void av_browse_cb(AvahiServiceBrowser *browser, AvahiIfIndex interface, AvahiProtocol protocol,
                         AvahiBrowserEvent event, const char *name, const char *type, const char *domain,
                         AvahiLookupResultFlags /*flags*/, void *userdata)
{
    if (browser == nullptr) {
        RD_DEBUG("no service resolver\n");
        return;
    }
    auto *const client = static_cast<AvahiClient *>(userdata);
    switch (event) {
    case AVAHI_BROWSER_NEW:
        RD_DEBUG("got new srvc '%s'\n", name);
        // Kept nowhere: its callback frees it, or the client with all that belongs to it.
        if (avahi_service_resolver_new(client, interface, protocol, name, type, domain, AVAHI_PROTO_UNSPEC,
                                       AvahiLookupFlags(0), av_resolve_cb, client) == nullptr) {
            RD_ERROR("unable to resolve service '%s': %s\n", name, client_error(client));
        }
        break;
    case AVAHI_BROWSER_REMOVE: RD_DEBUG("got REMOVE: srvc '%s'\n", name); break;
    case AVAHI_BROWSER_CACHE_EXHAUSTED: RD_DEBUG("%s\n", "CACHE_EXHAUSTED"); break;
    case AVAHI_BROWSER_ALL_FOR_NOW: RD_DEBUG("%s\n", "ALL_FOR_NOW"); break;
    case AVAHI_BROWSER_FAILURE:
        RD_DEBUG("browser failure: %s\n", client_error(avahi_service_browser_get_client(browser)));
        avahi_simple_poll_quit(this_cycle_poll);
        break;
    }
}

// Takes the slot for this cycle. A cycle that it finds there is asked to quit; a browse that another was started after
// quits by itself: so at most one runs, the newest.
static void enter_slot(const Browse *request, AvahiSimplePoll *poll)
{
    const std::lock_guard guard(browse_guard);
    if (newest_browse != request) {
        avahi_simple_poll_quit(poll);
        return;
    }
    if (av_browse_poll != nullptr) {
        avahi_simple_poll_quit(av_browse_poll);
    }
    av_browse_poll = poll;
}

static void leave_slot(const AvahiSimplePoll *poll)
{
    const std::lock_guard guard(browse_guard);
    if (av_browse_poll == poll) {
        av_browse_poll = nullptr;
    }
}

static void *av_mdns_browse_thread(void *argument)
{
    pthread_setname_np(pthread_self(), "av_mdns");
    RD_DEBUG("starting up\n");
    auto *const request = static_cast<Browse *>(argument);
    int back_off = 0;
    for (; request != nullptr && request->cycles != 0; request->cycles--) {
        AvahiSimplePoll *const poll = avahi_simple_poll_new();
        if (poll == nullptr) {
            RD_ERROR("unable to create poll\n");
            continue;
        }
        this_cycle_poll = poll;
        enter_slot(request, poll);
        int error = 0;
        AvahiClient *const client = avahi_client_new(avahi_simple_poll_get(poll), AVAHI_CLIENT_NO_FAIL,
                                                     av_mdns_browse_client_cb, nullptr, &error);
        if (client == nullptr) {
            RD_ERROR("cant create client: %s\n", avahi_strerror(error));
            back_off = std::min(back_off + 2, kLongestBackOff);
            rd_sleep_us(back_off * INT64_C(1'000'000));
        } else {
            back_off = 0;
            AvahiServiceBrowser *const browser =
                avahi_service_browser_new(client, request->interface_index, AVAHI_PROTO_UNSPEC, request->service_type,
                                          nullptr, AvahiLookupFlags(0), av_browse_cb, client);
            if (browser == nullptr) {
                RD_ERROR("cant create srvc browser: %s\n", client_error(client));
            } else {
                avahi_simple_poll_loop(poll);
                avahi_service_browser_free(browser);
            }
            avahi_client_free(client);
        }
        leave_slot(poll);
        avahi_simple_poll_free(poll);
    }
    free(request);
    RD_DEBUG("thread exiting...\n");
    pthread_exit(nullptr);
}

// A detached thread to which SIGCHLD never goes: it must interrupt the server thread's receive. Returns 0, or the error
// of the failing thread call.
static int create_browse_thread(Browse *request)
{
    pthread_attr_t attributes;
    int rc = pthread_attr_init(&attributes);
    if (rc != 0) {
        return rc;
    }
    rc = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (rc == 0) {
        sigset_t child_signal;
        sigset_t before;
        sigemptyset(&child_signal);
        sigaddset(&child_signal, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &child_signal, &before);
        pthread_t thread;
        rc = pthread_create(&thread, &attributes, av_mdns_browse_thread, request);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    pthread_attr_destroy(&attributes);
    return rc;
}

bool av_arguments_are_good(int32_t interface_index, const char *service_type)
{
    return interface_index != 0 && service_type != nullptr && service_type[0] != '\0';
}

int av_start_mdns_console_browse(int32_t interface_index, const char *service_type)
{
    {
        const std::lock_guard guard(browse_guard);
        if (av_browse_poll != nullptr) {
            RD_DEBUG("stopping mDNS polling\n");
            avahi_simple_poll_quit(av_browse_poll);
        }
    }
    auto *const request = static_cast<Browse *>(calloc(1, sizeof(Browse)));
    if (request == nullptr) {
        RD_ERROR("out of memory\n");
        return 1;
    }
    request->cycles = 1;
    request->interface_index = interface_index;
    rd_format(request->service_type, "%s", service_type);
    int rc = 0;
    {
        const std::lock_guard guard(browse_guard);
        rc = create_browse_thread(request);
        if (rc == 0) { // else the one before stays the newest: it may not have entered the slot yet
            newest_browse = request;
        }
    }
    if (rc != 0) {
        RD_ERROR("creating mdns browse thread rc=%d\n", rc);
        free(request);
        return rc;
    }
    RD_DEBUG("mdns browse thread created\n");
    return 0;
}

void av_stop_mdns_vlan_browse()
{
    const std::lock_guard guard(browse_guard);
    if (av_browse_poll != nullptr) {
        RD_DEBUG("stopping mDNS polling\n");
        avahi_simple_poll_quit(av_browse_poll);
    } else {
        RD_DEBUG("no mDNS poll to stop\n");
    }
}
