#include "mdns/publish.h"

#include "mdns/scripted_avahi.h"

#include <algorithm>

using avahi::script;
using rig::Lines;

class Publish : public rig::Controller
{
  protected:
    Publish() { script = std::make_unique<avahi::Script>(); }
    ~Publish() override { EXPECT_TRUE(script->live.empty()) << "an object was never freed"; }

    static void client(AvahiClientState state)
    {
        script->events.push_back([state] { script->state(state); });
    }
    static Lines records(const std::string &type, const std::string &rdata, const std::string &interface = "-1")
    {
        const std::string middle = " if=" + interface + " proto=-1 flags=";
        return {"record ovrak" + middle + "0x108 class=1 type=" + type + " ttl=120 rdata=" + rdata,
                "record ovrak.local" + middle + "0x109 class=1 type=" + type + " ttl=4500 rdata=" + rdata};
    }
    // Publishes over what was scripted; returns what Avahi was asked for.
    static Lines published(const char *address = "192.168.7.1", const char *interface = "", int result = 0)
    {
        EXPECT_EQ(av_publish_start(address, interface), result);
        return script->asked;
    }
};

TEST_F(Publish, AddressFamilyAndInterface)
{
    const std::tuple<const char *, const char *, Lines> cases[] = {
        {"fe80::2", "0any", records("28", "fe80::2")},
        {"10.0.0.5", "lo", records("1", "10.0.0.5", "1")},
        {"10.0.0.5", "nosuch0", records("1", "10.0.0.5", "0")},
        {"999.1.1.1", "lo", {}},
        {"fe80::0000000000000000000000000000000000000001", "lo", {}},
    };
    for (const auto &[address, interface, expected] : cases) {
        script = std::make_unique<avahi::Script>();
        script->in_new.push_back([] { script->state(AVAHI_CLIENT_S_RUNNING); }); // inside avahi_client_new
        Lines asked = published(address, interface);
        EXPECT_EQ(std::count(asked.begin(), asked.end(), "quit"), 0) << "nothing wrong with Avahi";
        std::erase_if(asked, [](const std::string &line) { return !line.starts_with("record"); });
        EXPECT_EQ(asked, expected) << address;
    }
    EXPECT_EQ(log_of("av_create_dns_record").back(),
              "2 ERROR - inet-pton conversion error for fe80::000000000000000000000000000000000000000");
    EXPECT_EQ(av_publish_start(nullptr, "lo"), -1);
    EXPECT_EQ(av_publish_start("10.0.0.5", nullptr), -1);
    EXPECT_EQ(log(), Lines(2, "2 av_publish_start ERROR - invalid args"));
}

TEST_F(Publish, WhatAvahiRefusesEndsPublishing)
{
    const std::tuple<const char *, const char *, avahi::Script::Event> cases[] = {
        {"group", "failed to create new avahi group: Operation failed", [] {}},
        {"record ovrak", "mDNS failed to add record ovrak=192.168.7.1: Invalid record", [] {}},
        {"record ovrak.local", "mDNS failed to add record ovrak.local=192.168.7.1: Invalid record", [] {}},
        {"commit", "entry group commit failure: Bad state", [] {}},
        {"", "Avahi entry group failure: Operation failed. quitting simple_poll",
         [] { script->group_cb(script->group, AVAHI_ENTRY_GROUP_FAILURE, nullptr); }},
        {"", "cleaning up avahi publishing of ovrak.local", [] { script->state(AVAHI_CLIENT_FAILURE); }},
    };
    for (const auto &[failing, message, then] : cases) {
        script = std::make_unique<avahi::Script>();
        script->failing = {failing};
        script->endless = true; // only the quit ends the loop
        client(AVAHI_CLIENT_S_RUNNING);
        script->events.push_back(then);
        const Lines asked = published();
        EXPECT_EQ(std::count(asked.begin(), asked.end(), "quit"), 1) << message;
        EXPECT_TRUE(wait_for_message(message));
        EXPECT_TRUE(script->live.empty()) << message;
    }
    for (const char *failing : {"poll", "client"}) {
        script = std::make_unique<avahi::Script>();
        script->failing = {failing};
        EXPECT_EQ(published("10.0.0.5", "lo", 18).back(), failing == std::string("poll") ? "poll" : "free poll");
    }
    EXPECT_TRUE(wait_for_message("4 av_publish_start mdns publishing ended rc=18"));
}

TEST_F(Publish, RecordsComeBackAfterACollisionAndALostDaemon)
{
    script->error = AVAHI_ERR_DISCONNECTED;
    client(AVAHI_CLIENT_CONNECTING);
    client(AVAHI_CLIENT_S_REGISTERING); // no group yet
    client(AVAHI_CLIENT_S_RUNNING);
    client(AVAHI_CLIENT_S_RUNNING); // they are there already
    script->events.push_back([] { script->group_cb(script->group, AVAHI_ENTRY_GROUP_COLLISION, nullptr); });
    for (const auto state : {AVAHI_CLIENT_S_COLLISION, AVAHI_CLIENT_S_RUNNING, AVAHI_CLIENT_FAILURE,
                             AVAHI_CLIENT_S_RUNNING, AVAHI_CLIENT_FAILURE}) {
        client(state);
    }
    std::set<uintptr_t> stack; // where each run stands on it
    script->in_new.resize(2, [] {});
    script->in_new.resize(9, [&stack] { // these are lost before their loop runs
        const char here = 0;
        stack.insert(reinterpret_cast<uintptr_t>(&here));
        script->state(AVAHI_CLIENT_FAILURE);
    });
    const Lines v4 = records("1", "192.168.7.1");
    const Lines expected = {"poll",         "client",      "loop",      "group", v4[0],         v4[1],    "commit",
                            "reset",        "free group",  "group",     v4[0],   v4[1],         "commit", "quit",
                            "(free group)", "free client", "free poll", "poll",  "client",      "loop",   "group",
                            v4[0],          v4[1],         "commit",    "quit",  "(free group)"};
    Lines asked = published();
    asked.resize(expected.size());
    EXPECT_EQ(asked, expected);
    EXPECT_EQ(stack.size(), 1U) << "a restart is no recursion";
    EXPECT_EQ(log_of("av_publish_start"), Lines{"4 mdns publishing ended rc=0"});
}
