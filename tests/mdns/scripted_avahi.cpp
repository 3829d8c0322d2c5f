#include "mdns/scripted_avahi.h"

#include <algorithm>

#include <arpa/inet.h>
#include <avahi-common/simple-watch.h>
#include <dlfcn.h>
#include <pthread.h>

std::unique_ptr<avahi::Script> avahi::script;

using avahi::Object;
using avahi::script;

// Writes down what is asked for; tells whether it is to succeed.
static bool note(const std::string &what)
{
    const std::lock_guard lock(script->mutex);
    script->asked.push_back(what);
    return std::none_of(script->failing.begin(), script->failing.end(),
                        [&what](const std::string &words) { return (what + " ").starts_with(words + " "); });
}

static void run_next(std::deque<avahi::Script::Event> &events)
{
    std::unique_lock lock(script->mutex);
    if (!events.empty()) {
        const auto event = events.front();
        events.pop_front();
        lock.unlock();
        event();
    }
}

static bool is_live(void *object)
{
    const std::lock_guard lock(script->mutex);
    return script->live.contains(static_cast<Object *>(object));
}

static Object *alive(void *object)
{
    EXPECT_TRUE(is_live(object)) << "it was freed, or never made";
    return static_cast<Object *>(object);
}

// Keeps the object and its callback as the newest of their kind.
template <typename T, typename Callback>
static T *make(const char *kind, const std::string &words, T *&newest, Callback &newest_callback,
               std::type_identity_t<Callback> callback)
{
    auto *const object = note(kind + words) ? new Object{kind} : nullptr;
    const std::lock_guard lock(script->mutex);
    object != nullptr ? void(script->live.insert(object)) : void();
    newest_callback = callback;
    return newest = reinterpret_cast<T *>(object);
}

static int destroy(void *object, const char *before = "", const char *after = "")
{
    note(before + std::string("free ") + alive(object)->kind + after);
    const std::lock_guard lock(script->mutex);
    script->live.erase(static_cast<Object *>(object));
    delete static_cast<Object *>(object);
    return 0;
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the headers name parameters by a letter
extern "C" {

// The calls that need no more than an object that is alive.
#define CALL(result, name, type, value) \
    result name(type object)            \
    {                                   \
        alive(object);                  \
        return value;                   \
    }
CALL(const AvahiPoll *, avahi_simple_poll_get, AvahiSimplePoll *, reinterpret_cast<const AvahiPoll *>(object))
CALL(void, avahi_simple_poll_free, AvahiSimplePoll *, void(destroy(object)))
CALL(int, avahi_client_errno, AvahiClient *, script->error)
CALL(int, avahi_entry_group_is_empty, AvahiEntryGroup *, alive(object)->used ? 0 : 1)
CALL(int, avahi_entry_group_commit, AvahiEntryGroup *, note("commit") ? 0 : AVAHI_ERR_BAD_STATE)
CALL(int, avahi_entry_group_reset, AvahiEntryGroup *, note("reset") ? 0 : AVAHI_ERR_BAD_STATE)
CALL(int, avahi_entry_group_free, AvahiEntryGroup *, destroy(object))
CALL(AvahiClient *, avahi_entry_group_get_client, AvahiEntryGroup *, script->client)
CALL(int, avahi_service_browser_free, AvahiServiceBrowser *, destroy(object))
CALL(AvahiClient *, avahi_service_browser_get_client, AvahiServiceBrowser *, script->client)
CALL(int, avahi_service_resolver_free, AvahiServiceResolver *, destroy(object))
CALL(AvahiClient *, avahi_service_resolver_get_client, AvahiServiceResolver *, script->client)
#undef CALL

// Not Avahi's, but a step towards each browse thread that can be made to fail.
int pthread_attr_setdetachstate(pthread_attr_t *attributes, int state)
{
    static const auto real =
        reinterpret_cast<decltype(&pthread_attr_setdetachstate)>(dlsym(RTLD_NEXT, "pthread_attr_setdetachstate"));
    return script->failing.contains("thread") ? EAGAIN : real(attributes, state);
}

AvahiSimplePoll *avahi_simple_poll_new()
{
    run_next(script->in_poll);
    AvahiSimplePoll *poll = nullptr; // not handed to the test
    void *callback = nullptr;
    return make("poll", "", poll, callback, nullptr);
}

void avahi_simple_poll_quit(AvahiSimplePoll *poll)
{
    note("quit");
    alive(poll)->used = true;
    const std::lock_guard lock(script->mutex);
    script->changed.notify_all();
}

int avahi_simple_poll_loop(AvahiSimplePoll *poll)
{
    note("loop");
    const std::atomic<bool> &quit = alive(poll)->used;
    std::unique_lock lock(script->mutex);
    script->running_loops++;
    while (!quit && (script->endless || !script->events.empty())) {
        script->changed.wait(lock, [&] { return quit || !script->events.empty(); });
        lock.unlock();
        run_next(script->events);
        lock.lock();
    }
    script->running_loops--;
    return quit ? 1 : 0;
}

AvahiClient *avahi_client_new(const AvahiPoll * /*api*/, AvahiClientFlags flags, AvahiClientCallback callback,
                              void *userdata, int *error)
{
    EXPECT_TRUE(flags == AVAHI_CLIENT_NO_FAIL && userdata == nullptr);
    AvahiClient *const client = make("client", "", script->client, script->client_cb, callback);
    client == nullptr &&error != nullptr ? void(*error = AVAHI_ERR_DBUS_ERROR) : void();
    run_next(script->in_new);
    return client;
}

void avahi_client_free(AvahiClient *client) // and what belongs to it, if it is still there
{
    is_live(script->group) ? destroy(script->group, "(", ")") : 0;
    is_live(script->resolver) ? destroy(script->resolver, "(", ")") : 0;
    destroy(client);
}

AvahiEntryGroup *avahi_entry_group_new(AvahiClient *client, AvahiEntryGroupCallback callback, void *userdata)
{
    alive(client);
    AvahiEntryGroup *const group = make("group", "", script->group, script->group_cb, callback);
    group != nullptr ? callback(group, AVAHI_ENTRY_GROUP_UNCOMMITED, userdata) : void();
    return group;
}

int avahi_entry_group_add_record(AvahiEntryGroup *group, AvahiIfIndex interface, AvahiProtocol protocol,
                                 AvahiPublishFlags flags, const char *name, uint16_t clazz, uint16_t type, uint32_t ttl,
                                 const void *rdata, size_t size)
{
    alive(group)->used = true;
    char address[INET6_ADDRSTRLEN] = "";
    inet_ntop(size == sizeof(in_addr) ? AF_INET : AF_INET6, rdata, address, sizeof address);
    char words[256];
    snprintf(words, sizeof words, "record %s if=%d proto=%d flags=%#x class=%u type=%u ttl=%u rdata=%s", name,
             interface, protocol, flags, clazz, type, ttl, address);
    return note(words) ? 0 : AVAHI_ERR_INVALID_RECORD;
}

AvahiServiceBrowser *avahi_service_browser_new(AvahiClient *client, AvahiIfIndex interface, AvahiProtocol protocol,
                                               const char *type, const char *domain, AvahiLookupFlags flags,
                                               AvahiServiceBrowserCallback callback, void *userdata)
{
    EXPECT_TRUE(userdata == alive(client) && domain == nullptr && flags == 0 && protocol == AVAHI_PROTO_UNSPEC);
    return make("browser", " " + std::string(type) + " if=" + std::to_string(interface), script->browser,
                script->browser_cb, callback);
}

AvahiServiceResolver *avahi_service_resolver_new(AvahiClient *client, AvahiIfIndex interface, AvahiProtocol protocol,
                                                 const char *name, const char *type, const char *domain,
                                                 AvahiProtocol address_protocol, AvahiLookupFlags flags,
                                                 AvahiServiceResolverCallback callback, void *userdata)
{
    EXPECT_TRUE(userdata == alive(client) && address_protocol == AVAHI_PROTO_UNSPEC && flags == 0);
    return make("resolver",
                " " + std::string(name) + " " + type + " " + domain + " if=" + std::to_string(interface) +
                    " proto=" + std::to_string(protocol),
                script->resolver, script->resolver_cb, callback);
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
