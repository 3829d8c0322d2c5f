#include "mdns/commands.h"

#include "mdns/scripted_avahi.h"

#include <algorithm>

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
    Browse()
    {
        script = std::make_unique<avahi::Script>();
        script->endless = true;
    }
    ~Browse() override
    {
        browse(0);
        script->wait_for_end();
        EXPECT_TRUE(rig::wait_until([] { return threads() == 0; })) << "a browse thread is left";
    }
    static int browse(uint32_t start, const std::string &type = kZeroTouch, int32_t interface = 5)
    {
        MdnsBrowseRequest request{start, 1, interface, ""};
        memcpy(request.service_type, type.data(), type.size());
        return rd_mdns_browse_service(&request);
    }
    void start(const std::string &type = kZeroTouch)
    {
        EXPECT_EQ(browse(1, type), 0);
        script->wait_for_loop();
        log();
    }
    // Runs in the browse thread; returns when it is done there.
    static void in_loop(const avahi::Script::Event &event)
    {
        std::atomic<bool> done = false;
        {
            const std::lock_guard lock(script->mutex);
            script->events.push_back([&] {
                event();
                done = true;
            });
            script->changed.notify_all();
        }
        EXPECT_TRUE(rig::wait_until([&] { return done.load(); }));
    }
    // Lets the browse find a service, and its resolver a TXT record with these items.
    static void find(const std::string &type, const Lines &items, const std::string &host = "far.local")
    {
        AvahiStringList *txt = nullptr;
        for (const std::string &text : items) {
            txt = avahi_string_list_add_arbitrary(txt, reinterpret_cast<const uint8_t *>(text.data()), text.size());
        }
        txt = avahi_string_list_reverse(txt);
        in_loop([&] {
            script->browsed(AVAHI_BROWSER_NEW, "srv", type.c_str());
            AvahiAddress address{.proto = AVAHI_PROTO_INET, .data = {.ipv4 = {htonl(0x0a000005)}}};
            script->resolver_cb(script->resolver, 5, AVAHI_PROTO_INET, AVAHI_RESOLVER_FOUND, "srv", type.c_str(),
                                "local", host.c_str(), &address, 443, txt, AvahiLookupResultFlags(0), nullptr);
        });
        avahi_string_list_free(txt);
    }
    static size_t threads()
    {
        size_t count = 0;
        for (const auto &task : fs::directory_iterator("/proc/self/task")) {
            count += rig::read_file(task.path() / "comm") == "av_mdns\n" ? 1 : 0;
        }
        return count;
    }
    static bool has_been_asked(const char *what, int times = 1)
    {
        return std::count(script->asked.begin(), script->asked.end(), what) == times;
    }
};

TEST_F(Browse, RunsFromStartToStop)
{
    EXPECT_EQ(browse(1, std::string(40, 'x'), -1), 0);
    script->wait_for_loop();
    EXPECT_EQ(threads(), 1U) << "named av_mdns";
    in_loop([] {
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
    EXPECT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
}

TEST_F(Browse, FoundServicesLandInTheFileOrTheLog)
{
    start();
    find(kZeroTouch, {"other=1", "ARGS=abc"});
    EXPECT_EQ(rig::read_file(kFile), "VSI=abc\n");
    EXPECT_EQ(script->asked[4], "resolver srv " + std::string(kZeroTouch) + " local if=5 proto=0");
    EXPECT_EQ(script->asked[5], "free resolver");
    EXPECT_EQ(log(), (Lines{"5 av_browse_cb got new srvc 'srv'", "4 av_get_mdns_txt_data keypair: other = 1",
                            "4 av_get_mdns_txt_data keypair: ARGS = abc", "4 av_get_mdns_txt_data updated zt file",
                            "4 av_resolve_cb found srvc: far.local - 10.0.0.5"}));
    find(std::string(kZeroTouch) + "x", {"args=x", "args=y=z"});
    EXPECT_EQ(rig::read_file(kFile), "VSI=y=z\n");
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

// Nothing overruns, and no line is written that is not ours.
TEST_F(Browse, HostileTextsAreHarmless)
{
    start();
    Lines texts = {
        "", "=", "=x", "args", std::string("args=a\0b", 8), "args=one\n[22-Nov 00:00:00] rd_server():1 - lie"};
    for (int i = 0; i < 300; i++) {
        texts.push_back(std::string(255, static_cast<char>(i)));
    }
    texts.push_back("args=" + std::string(250, '\xff'));
    find(kZeroTouch, texts, std::string(1013, '\n'));
    EXPECT_EQ(rig::read_file(kFile), "VSI=" + std::string(250, '\xff') + "\n");
    EXPECT_EQ(log_of("av_get_mdns_txt_data").size(), texts.size() + 3) << "one record an item, and three updates";
    find(kZeroTouch, {"args=one\ntwo\r\t\x7f"});
    EXPECT_EQ(rig::read_file(kFile), "VSI=one?two?\t\x7f\n");
}

TEST_F(Browse, UnluckyEventsAreSurvived)
{
    start();
    in_loop([] {
        script->client_cb(nullptr, AVAHI_CLIENT_FAILURE, nullptr);
        script->browser_cb(nullptr, 5, 0, AVAHI_BROWSER_NEW, "", "", "", AvahiLookupResultFlags(0), nullptr);
        script->state(AVAHI_CLIENT_S_COLLISION);
        script->browsed(AVAHI_BROWSER_REMOVE, "srv\n");
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
    Lines errors = log();
    std::erase_if(errors, [](const std::string &line) { return line[0] != '2'; });
    EXPECT_EQ(errors,
              (Lines{"2 av_browse_cb ERROR - unable to resolve service 'srv': Operation failed",
                     "2 av_resolve_cb ERROR - unable to resolve service 'srv?' in domain 'local': Operation failed",
                     "2 av_resolve_cb ERROR - no service resolver"}));
}

TEST_F(Browse, FailuresEndTheCycle)
{
    const std::pair<const char *, avahi::Script::Event> cases[] = {
        {"4 av_mdns_browse_client_cb cant connect to server: Operation failed",
         [] { script->state(AVAHI_CLIENT_FAILURE); }},
        {"5 av_browse_cb browser failure: Operation failed", [] { script->browsed(AVAHI_BROWSER_FAILURE); }},
    };
    for (const auto &[message, event] : cases) {
        start();
        in_loop(event);
        script->wait_for_end();
        EXPECT_TRUE(wait_for_message(message));
    }
    const std::pair<std::string, std::string> failing[] = {
        {"poll", "unable to create poll"},
        {"client", "cant create client: An unexpected D-Bus error occurred"},
        {"browser", "cant create srvc browser: Operation failed"}};
    for (const auto &[what, message] : failing) {
        script->failing = {what};
        const int64_t began = zclock_mono();
        platform_log.take();
        browse(1);
        ASSERT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
        EXPECT_TRUE(wait_for_message("2 av_mdns_browse_thread ERROR - " + message));
        EXPECT_TRUE(what != "client" || zclock_mono() - began >= 1999) << "waits before it gives up on Avahi";
    }
    script->failing = {"thread"};
    EXPECT_EQ(browse(1), 0);
    EXPECT_TRUE(wait_for_message("2 av_start_mdns_console_browse ERROR - creating mdns browse thread rc=11"));
}

TEST_F(Browse, DebugPingsThenBrowsesForThreeSeconds)
{
    signal(SIGALRM, [](int) {});
    start(); // ended, and not started again
    NgmDebugRequest probe{5, 4, {"fe80::1", "fe80::2", "no address", "fe80::3"}};
    memset(probe.router[2] + 10, ':', sizeof probe.router[2] - 10);
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::1", 1);
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::2", 2);
    ualarm(150'000, 150'000); // signals do not shorten the browse
    const int64_t began = zclock_mono();
    EXPECT_EQ(rd_ngm_debug(&probe), 512) << "the last that failed";
    EXPECT_GE(zclock_mono() - began, 2999);
    ualarm(0, 0);
    script->wait_for_end();
    EXPECT_TRUE(has_been_asked("browser _Redfish._tcp if=5"));
    EXPECT_EQ(log_of("rd_ngm_debug"), (Lines{"4 ping fe80::1 rc=256", "4 ping fe80::2 rc=512",
                                             "2 ERROR - Invalid IPv6 addr at index 2", "4 ping fe80::3 rc=0"}));
}

TEST_F(Browse, StopsAndStartsBeforeThereIsAPoll)
{
    script->hold_polls = true;
    browse(1, "_a._tcp");
    browse(0);
    EXPECT_TRUE(wait_for_message("5 av_stop_mdns_vlan_browse no mDNS poll to stop"));
    browse(1, "_b._tcp");
    {
        const std::lock_guard lock(script->mutex);
        script->hold_polls = false;
        script->changed.notify_all();
    }
    script->wait_until([] { // one goes on
        return script->live.size() == 3 && script->running_loops == 1 && has_been_asked("free poll") &&
               has_been_asked("browser _b._tcp if=5");
    });
}

// Started in quick succession, before any has its poll object, all but one end, and that one can be stopped.
TEST_F(Browse, HundredsOfStartsAndStopsLeaveNothing)
{
    browse(0);
    const size_t descriptors = rig::open_descriptors(getpid()); // with the logger's connection
    for (int i = 0; i < 500; i++) {
        browse(i % 7 == 6 ? 0 : 1, "_" + std::to_string(i) + "._tcp");
        if (i % 13 == 0 && i % 7 != 6) {
            script->wait_for_loop();
        }
    }
    browse(1, "_last._tcp");
    script->wait_until([] {
        return script->running_loops == 1 && has_been_asked("browser _last._tcp if=5") && script->live.size() == 3;
    });
    browse(0);
    script->wait_for_end();
    EXPECT_EQ(rig::open_descriptors(getpid()), descriptors);
}
