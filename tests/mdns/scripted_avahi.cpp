#include "mdns/scripted_avahi.h"

#include <avahi-common/simple-watch.h>
#include <dlfcn.h>
#include <pthread.h>

namespace avahi
{
std::unique_ptr<Script> script;
}

using avahi::script;

struct AvahiSimplePoll {
    static constexpr const char *kKind = "poll";
    std::atomic<bool> quit = false;
    AvahiPoll api{};
};
struct AvahiClient {
    static constexpr const char *kKind = "client";
};
struct AvahiEntryGroup {
    static constexpr const char *kKind = "group";
};
struct AvahiServiceBrowser {
    static constexpr const char *kKind = "browser";
};
struct AvahiServiceResolver {
    static constexpr const char *kKind = "resolver";
};

static void note(const std::string &what)
{
    const std::lock_guard lock(script->mutex);
    script->asked.push_back(what);
}

template <typename T>
static T *make()
{
    const std::lock_guard lock(script->mutex);
    script->asked.emplace_back(T::kKind);
    T *const object = script->failing.contains(T::kKind) ? nullptr : new T{};
    object != nullptr ? void(script->live.insert(object)) : void();
    return object;
}

static bool is_live(const void *object)
{
    const std::lock_guard lock(script->mutex);
    return script->live.contains(object);
}

template <typename T>
static T *alive(T *object)
{
    EXPECT_TRUE(is_live(object)) << "not a live " << T::kKind;
    return object;
}

template <typename T>
static int destroy(T *object, const char *before = "", const char *after = "")
{
    const std::lock_guard lock(script->mutex);
    EXPECT_EQ(script->live.erase(object), 1U) << "not a live " << T::kKind;
    script->asked.push_back(before + std::string("free ") + T::kKind + after);
    delete object;
    return 0;
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the headers name parameters by a letter
extern "C" {

// Not Avahi's, but a step towards each browse thread that can be made to fail.
int pthread_attr_setdetachstate(pthread_attr_t *attributes, int state)
{
    static const auto real =
        reinterpret_cast<decltype(&pthread_attr_setdetachstate)>(dlsym(RTLD_NEXT, "pthread_attr_setdetachstate"));
    return script->failing.contains("thread") ? EAGAIN : real(attributes, state);
}

AvahiSimplePoll *avahi_simple_poll_new()
{
    {
        std::unique_lock lock(script->mutex);
        script->changed.wait(lock, [] { return !script->hold_polls; });
    }
    return make<AvahiSimplePoll>();
}

const AvahiPoll *avahi_simple_poll_get(AvahiSimplePoll *poll)
{
    return &alive(poll)->api;
}

void avahi_simple_poll_quit(AvahiSimplePoll *poll)
{
    note("quit");
    alive(poll)->quit = true;
    const std::lock_guard lock(script->mutex);
    script->changed.notify_all();
}

int avahi_simple_poll_loop(AvahiSimplePoll *poll)
{
    note("loop");
    std::unique_lock lock(script->mutex);
    script->running_loops++;
    while (!poll->quit && (script->endless || !script->events.empty())) {
        if (script->events.empty()) {
            script->changed.wait(lock);
            continue;
        }
        const auto event = script->events.front();
        script->events.pop_front();
        lock.unlock();
        event();
        lock.lock();
    }
    script->running_loops--;
    return poll->quit ? 1 : 0;
}

void avahi_simple_poll_free(AvahiSimplePoll *poll)
{
    destroy(poll);
}

AvahiClient *avahi_client_new(const AvahiPoll * /*api*/, AvahiClientFlags flags, AvahiClientCallback callback,
                              void *userdata, int *error)
{
    EXPECT_TRUE(flags == AVAHI_CLIENT_NO_FAIL && userdata == nullptr);
    auto *client = make<AvahiClient>();
    if (client == nullptr && error != nullptr) {
        *error = AVAHI_ERR_DBUS_ERROR;
    }
    if (client != nullptr) {
        const std::lock_guard lock(script->mutex);
        script->client = client;
        script->client_cb = callback;
    }
    if (!script->in_new.empty()) {
        const auto event = script->in_new.front();
        script->in_new.pop_front();
        event();
    }
    return client;
}

void avahi_client_free(AvahiClient *client) // and what belongs to it, if it is still there
{
    is_live(script->group) ? destroy(script->group, "(", ")") : 0;
    is_live(script->resolver) ? destroy(script->resolver, "(", ")") : 0;
    destroy(client);
}

int avahi_client_errno(AvahiClient *client)
{
    alive(client);
    return script->error;
}

AvahiEntryGroup *avahi_entry_group_new(AvahiClient *client, AvahiEntryGroupCallback callback, void *userdata)
{
    alive(client);
    auto *group = make<AvahiEntryGroup>();
    script->group = group;
    script->group_cb = callback;
    script->group_filled = false;
    group != nullptr ? callback(group, AVAHI_ENTRY_GROUP_UNCOMMITED, userdata) : void();
    return group;
}

int avahi_entry_group_is_empty(AvahiEntryGroup *group)
{
    alive(group);
    return script->group_filled ? 0 : 1;
}

int avahi_entry_group_add_record(AvahiEntryGroup *group, AvahiIfIndex interface, AvahiProtocol protocol,
                                 AvahiPublishFlags flags, const char *name, uint16_t clazz, uint16_t type, uint32_t ttl,
                                 const void *rdata, size_t size)
{
    alive(group);
    char words[256];
    int length =
        snprintf(words, sizeof words, "record %s if=%d proto=%d flags=%#x class=%u type=%u ttl=%u rdata=", name,
                 interface, protocol, flags, clazz, type, ttl);
    for (size_t i = 0; i < size; i++) {
        length += snprintf(words + length, sizeof words - static_cast<size_t>(length), "%02x",
                           static_cast<const unsigned char *>(rdata)[i]);
    }
    note(words);
    script->group_filled = true;
    return script->failing.contains(std::string("record ") + name) ? AVAHI_ERR_INVALID_RECORD : 0;
}

int avahi_entry_group_commit(AvahiEntryGroup *group)
{
    alive(group);
    note("commit");
    return script->failing.contains("commit") ? AVAHI_ERR_BAD_STATE : 0;
}

int avahi_entry_group_reset(AvahiEntryGroup *group)
{
    alive(group);
    note("reset");
    return 0;
}

int avahi_entry_group_free(AvahiEntryGroup *group)
{
    return destroy(group);
}

AvahiClient *avahi_entry_group_get_client(AvahiEntryGroup *group)
{
    alive(group);
    return script->client;
}

AvahiServiceBrowser *avahi_service_browser_new(AvahiClient *client, AvahiIfIndex interface, AvahiProtocol protocol,
                                               const char *type, const char *domain, AvahiLookupFlags flags,
                                               AvahiServiceBrowserCallback callback, void *userdata)
{
    EXPECT_TRUE(userdata == alive(client) && domain == nullptr && flags == 0 && protocol == AVAHI_PROTO_UNSPEC);
    note("browse " + std::string(type) + " if=" + std::to_string(interface));
    auto *browser = make<AvahiServiceBrowser>();
    const std::lock_guard lock(script->mutex);
    script->browser = browser;
    script->browser_cb = callback;
    return browser;
}

int avahi_service_browser_free(AvahiServiceBrowser *browser)
{
    return destroy(browser);
}

AvahiClient *avahi_service_browser_get_client(AvahiServiceBrowser *browser)
{
    alive(browser);
    return script->client;
}

AvahiServiceResolver *avahi_service_resolver_new(AvahiClient *client, AvahiIfIndex interface, AvahiProtocol protocol,
                                                 const char *name, const char *type, const char *domain,
                                                 AvahiProtocol address_protocol, AvahiLookupFlags flags,
                                                 AvahiServiceResolverCallback callback, void *userdata)
{
    EXPECT_TRUE(userdata == alive(client) && address_protocol == AVAHI_PROTO_UNSPEC && flags == 0);
    note("resolve " + std::string(name) + " " + type + " " + domain + " if=" + std::to_string(interface) +
         " proto=" + std::to_string(protocol));
    script->resolver = make<AvahiServiceResolver>();
    script->resolver_cb = callback;
    return script->resolver;
}

int avahi_service_resolver_free(AvahiServiceResolver *resolver)
{
    return destroy(resolver);
}

AvahiClient *avahi_service_resolver_get_client(AvahiServiceResolver *resolver)
{
    alive(resolver);
    return script->client;
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
