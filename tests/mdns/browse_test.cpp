#include "mdns/commands.h"

#include "mdns/scripted_avahi.h"

#include <algorithm>
#include <future>

#include <arpa/inet.h>
#include <avahi-common/strlst.h>
#include <unistd.h>

using avahi::script;
using rig::Lines;

static const char *const kZeroTouch = "_zerotouchprovsrv._tcp";
static const char *const kFile = "/run/q7net/dhcp/vsizt";

class Browse : public rig::Controller
{
  protected:
    Browse() { script.reset(new avahi::Script{.endless = true}); }
    ~Browse() override
    {
        browse(0);
        script->wait_for_end();
        EXPECT_TRUE(rig::wait_until([this] { return threads() == threads_; })) << "a browse thread is left";
    }
    static int browse(uint32_t start, const std::string &type = kZeroTouch, int32_t interface = 5)
    {
        MdnsBrowseRequest request{start, 1, interface, ""};
        memcpy(request.service_type, type.data(), type.size());
        return rd_mdns_browse_service(&request);
    }
    void start()
    {
        EXPECT_EQ(browse(1), 0);
        script->wait_for_loop();
        log();
    }
    // Runs in the browse thread; returns when it is done there.
    static void in_loop(const avahi::Script::Event &event)
    {
        std::promise<void> done;
        script->push([&] {
            event();
            done.set_value();
        });
        done.get_future().wait();
    }
    // Lets the browse find a service, and its resolver a TXT record with these items.
    static void find(const std::string &type, std::vector<const char *> items)
    {
        AvahiStringList *const txt =
            avahi_string_list_reverse(avahi_string_list_new_from_array(items.data(), static_cast<int>(items.size())));
        in_loop([&] {
            script->browsed(AVAHI_BROWSER_NEW, "srv", type.c_str());
            AvahiAddress address{.proto = AVAHI_PROTO_INET, .data = {.ipv4 = {htonl(0x0a000005)}}};
            script->resolver_cb(script->resolver, 5, AVAHI_PROTO_INET, AVAHI_RESOLVER_FOUND, "srv", type.c_str(),
                                "local", "far.local", &address, 443, txt, AvahiLookupResultFlags(0), nullptr);
        });
        avahi_string_list_free(txt);
    }
    static ptrdiff_t threads() { return std::distance(fs::directory_iterator("/proc/self/task"), {}); }
    static bool has_been_asked(const char *what)
    {
        return std::count(script->asked.begin(), script->asked.end(), what) == 1;
    }

    ptrdiff_t threads_ = threads();
};

TEST_F(Browse, RunsFromStartToStop)
{
    EXPECT_EQ(browse(1, std::string(40, 'x'), -1), 0);
    script->wait_for_loop();
    in_loop([] {
        EXPECT_EQ(rig::read_file("/proc/thread-self/comm"), "av_mdns\n");
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGCHLD), 1) << "it is for the server thread";
    });
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGCHLD), 0);
    EXPECT_EQ(browse(0, "any", 1), 0);
    script->wait_for_end();
    EXPECT_EQ(calls(), (Lines{"/etc/sysapps_script/network/fwctrl.sh mdns remove",
                              "/etc/sysapps_script/network/fwctrl.sh mdns apply"}));
    EXPECT_EQ(script->asked, (Lines{"poll", "client", "browser " + std::string(31, 'x') + " if=-1", "loop", "quit",
                                    "free browser", "free client", "free poll"}));
}

TEST_F(Browse, FoundServicesLandInTheFileOrTheLog)
{
    start();
    find(kZeroTouch, {"other=1", "ARGS=abc"});
    EXPECT_EQ(rig::read_file(kFile), "VSI=abc\n");
    EXPECT_EQ(script->asked[4], "resolver srv " + std::string(kZeroTouch) + " local if=5 proto=0");
    EXPECT_EQ(log(), (Lines{"5 av_browse_cb got new srvc 'srv'", "4 av_get_mdns_txt_data keypair: other = 1",
                            "4 av_get_mdns_txt_data keypair: ARGS = abc", "4 av_get_mdns_txt_data updated zt file",
                            "4 av_resolve_cb found srvc: far.local - 10.0.0.5"}));
    const std::string text = "y=" + std::string(246, '\xff');
    find(std::string(kZeroTouch) + "x", {"args=x", "", "=x", "args", ("args=" + text + "\n\r").c_str()});
    EXPECT_EQ(rig::read_file(kFile), "VSI=" + text + "??\n") << "one line, and all of it";
    fs::remove(kFile);
    fs::create_directory(kFile);
    find(kZeroTouch, {"args=x"});
    EXPECT_TRUE(wait_for_message("2 av_get_mdns_txt_data ERROR - unable to open zt file"));
    fs::remove(kFile);
    fs::create_symlink("/dev/full", kFile);
    find(kZeroTouch, {"args=x"});
    EXPECT_TRUE(wait_for_message("2 av_get_mdns_txt_data ERROR - unable to write zt file No space left on device"));
    fs::remove(kFile);
    log();
    find("_Redfish._tcp", {"DEF_DEVICETYPE=first", "DEF_DEVICETYPE=ServerModule01", "def_slotinfo=123", "args=x"});
    EXPECT_EQ(log_of("av_resolve_cb"), Lines{"4 found srvc: far.local ServerMod-12 10.0.0.5"});
    EXPECT_EQ(rig::read_file(kFile), "(none)");
}

TEST_F(Browse, UnluckyEventsAreSurvived)
{
    start();
    in_loop([] {
        script->client_cb(nullptr, AVAHI_CLIENT_FAILURE, nullptr);
        script->browser_cb(nullptr, 5, 0, AVAHI_BROWSER_NEW, "", "", "", AvahiLookupResultFlags(0), nullptr);
        script->state(AVAHI_CLIENT_S_COLLISION);
        script->failing = {"resolver"};
        script->browsed(AVAHI_BROWSER_NEW);
        script->failing = {};
        script->browsed(AVAHI_BROWSER_NEW);
        for (AvahiServiceResolver *const resolver : {script->resolver, static_cast<AvahiServiceResolver *>(nullptr)}) {
            script->resolver_cb(resolver, 5, 0, AVAHI_RESOLVER_FAILURE, "srv\n", "_a._tcp", "local", nullptr, nullptr,
                                0, nullptr, AvahiLookupResultFlags(0), nullptr);
        }
    });
    EXPECT_EQ(script->asked.back(), "free resolver");
    EXPECT_TRUE(wait_for_message("2 av_browse_cb ERROR - unable to resolve service 'srv': Operation failed"));
    EXPECT_EQ(log_of("av_resolve_cb"),
              (Lines{"2 ERROR - unable to resolve service 'srv?' in domain 'local': Operation failed",
                     "2 ERROR - no service resolver"}));
}

TEST_F(Browse, FailuresEndTheCycle)
{
    for (const auto &event : std::initializer_list<avahi::Script::Event>{
             [] { script->state(AVAHI_CLIENT_FAILURE); }, [] { script->browsed(AVAHI_BROWSER_FAILURE); }}) {
        start();
        in_loop(event);
        script->wait_for_end();
    }
    EXPECT_TRUE(wait_for_message("5 av_browse_cb browser failure: Operation failed"));
    int64_t began = 0;
    for (const char *failing : {"poll", "browser", "client"}) {
        platform_log.take();
        script->failing = {failing};
        began = zclock_mono();
        browse(1);
        ASSERT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
        script->wait_for_end();
    }
    EXPECT_GE(zclock_mono() - began, 1999) << "waits before it gives up on Avahi";
    script->failing = {"thread"};
    EXPECT_EQ(browse(1), 0);
    EXPECT_TRUE(wait_for_message("2 av_start_mdns_console_browse ERROR - creating mdns browse thread rc=11"));
}

TEST_F(Browse, DebugPingsThenBrowsesForThreeSeconds)
{
    signal(SIGALRM, [](int) {});
    start(); // ended, and not started again
    NgmDebugRequest probe{5, 3, {"fe80::1", "fe80::2", "fe80::3"}};
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::1", 1);
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::2", 2);
    ualarm(150'000, 150'000); // signals do not shorten the browse
    const int64_t began = zclock_mono();
    EXPECT_EQ(rd_ngm_debug(&probe), 512) << "the last that failed";
    EXPECT_GE(zclock_mono() - began, 2999);
    ualarm(0, 0);
    script->wait_for_end();
    EXPECT_TRUE(has_been_asked("browser _Redfish._tcp if=5"));
}

// Whichever gets its poll object first, all but the one started last end, and that one can be stopped.
TEST_F(Browse, OfManyStartsTheLastGoesOn)
{
    const auto one_goes_on = [] { return script->running_loops == 1 && script->live.size() == 3; };
    avahi::Object *last = nullptr;
    script->in_poll.push_back([&last] {
        script->wait_for_loop(); // of the next one
        last = reinterpret_cast<avahi::Object *>(script->browser);
    });
    browse(1);
    script->wait_until([] { return script->in_poll.empty(); });
    browse(0);
    EXPECT_TRUE(wait_for_message("5 av_stop_mdns_vlan_browse no mDNS poll to stop"));
    start();
    script->wait_until([&] { return has_been_asked("free poll") && one_goes_on() && script->live.contains(last); });
    for (int i = 0; i < 100; i++) {
        browse(i % 7 == 6 ? 0 : 1);
    }
    browse(1, "_last._tcp");
    script->wait_until([&] { return has_been_asked("browser _last._tcp if=5") && one_goes_on(); });
}
