// A stand-in for libavahi-client and its poll loop: it does what the test has scripted, writes down what it is asked
// for, and fails the test when an object is used after it was freed or never freed.
#pragma once

#include "rig/rig.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>
#include <avahi-common/error.h>

namespace avahi
{

struct Object { // behind each of Avahi's opaque types
    const char *kind;
    std::atomic<bool> used = false; // a poll: it was asked to quit; a group: it has records
};

// The script, and what came of it.
struct Script {
    using Event = std::function<void()>;
    std::set<std::string> failing; // with what calls are written down as, up to a space; or "thread"
    int error = AVAHI_ERR_FAILURE; // of the client
    std::deque<Event> in_poll;     // run inside avahi_simple_poll_new, one a poll
    std::deque<Event> in_new;      // run inside avahi_client_new, one a client
    std::deque<Event> events;      // run by the loops, in order
    bool endless = false;          // whether a loop without events waits to be asked to quit, or ends

    std::mutex mutex;
    std::condition_variable changed;
    rig::Lines asked;
    std::set<Object *> live;
    int running_loops = 0;

    // The newest objects and their callbacks.
    AvahiClient *client = nullptr;
    AvahiEntryGroup *group = nullptr;
    AvahiServiceBrowser *browser = nullptr;
    AvahiServiceResolver *resolver = nullptr;
    AvahiClientCallback client_cb = nullptr;
    AvahiEntryGroupCallback group_cb = nullptr;
    AvahiServiceBrowserCallback browser_cb = nullptr;
    AvahiServiceResolverCallback resolver_cb = nullptr;

    void push(const Event &event) // to the loop that runs
    {
        const std::lock_guard lock(mutex);
        events.push_back(event);
        changed.notify_all();
    }
    void state(AvahiClientState state) { client_cb(client, state, nullptr); }
    // The browser tells of a service.
    void browsed(AvahiBrowserEvent event, const char *name = "srv", const char *type = "_a._tcp")
    {
        browser_cb(browser, 5, AVAHI_PROTO_INET, event, name, type, "local", AvahiLookupResultFlags(0), client);
    }
    void wait_until(const std::function<bool()> &condition)
    {
        EXPECT_TRUE(rig::wait_until([this, &condition] {
            const std::lock_guard lock(mutex);
            return condition();
        }));
    }
    void wait_for_loop()
    {
        wait_until([this] { return running_loops > 0; });
    }
    void wait_for_end() // of all that was made
    {
        wait_until([this] { return live.empty(); });
    }
};

extern std::unique_ptr<Script> script; // renewed for each test

} // namespace avahi
