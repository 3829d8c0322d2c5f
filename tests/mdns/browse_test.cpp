#include "mdns/commands.h"

#include "mdns/scripted_avahi.h"

#include <algorithm>

#include <arpa/inet.h>
#include <avahi-common/strlst.h>

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
    static int browse(uint32_t start, const std::string &type = kZeroTouch, int32_t interface = 5,
                      uint32_t firewall = 0)
    {
        MdnsBrowseRequest request{start, firewall, interface, ""};
        memcpy(request.service_type, type.data(), type.size());
        return rd_mdns_browse_service(&request);
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
    // Lets the browse find a service, and its resolver this TXT record.
    void find(const std::string &type, AvahiStringList *txt, const char *host = "far.local")
    {
        in_loop([&] {
            script->browser_cb(script->browser, 5, AVAHI_PROTO_INET, AVAHI_BROWSER_NEW, "srv", type.c_str(), "local",
                               AvahiLookupResultFlags(0), script->browser_data);
            AvahiAddress address{.proto = AVAHI_PROTO_INET, .data = {.ipv4 = {htonl(0x0a000005)}}};
            script->resolver_cb(script->resolver, 5, AVAHI_PROTO_INET, AVAHI_RESOLVER_FOUND, "srv", type.c_str(),
                                "local", host, &address, 443, txt, AvahiLookupResultFlags(0), nullptr);
        });
        avahi_string_list_free(txt);
    }
    static AvahiStringList *items(const Lines &texts) // in this order
    {
        AvahiStringList *list = nullptr;
        for (const std::string &text : texts) {
            list = avahi_string_list_add_arbitrary(list, reinterpret_cast<const uint8_t *>(text.data()), text.size());
        }
        return avahi_string_list_reverse(list);
    }
    static size_t threads()
    {
        size_t count = 0;
        for (const auto &task : fs::directory_iterator("/proc/self/task")) {
            count += rig::read_file(task.path() / "comm") == "av_mdns\n" ? 1 : 0;
        }
        return count;
    }
};

TEST_F(Browse, RunsFromStartToStop)
{
    EXPECT_EQ(browse(1, std::string(40, 'x'), -1, 1), 0);
    EXPECT_EQ(calls(), Lines{"/etc/sysapps_script/network/fwctrl.sh mdns remove"});
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
    EXPECT_EQ(browse(0, "any", 1, 1), 0);
    EXPECT_EQ(calls(), Lines{"/etc/sysapps_script/network/fwctrl.sh mdns apply"});
    script->wait_for_end();
    EXPECT_EQ(script->asked, (Lines{"poll", "client", "browse " + std::string(31, 'x') + " if=-1", "browser", "loop",
                                    "quit", "free browser", "free client", "free poll"}));
    ASSERT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
    const Lines messages = log();
    EXPECT_EQ(messages[1], "4 av_mdns_browse_service starting browse for " + std::string(40, 'x') + " on interface -1");
    const auto stopping =
        std::find(messages.begin(), messages.end(), "5 av_stop_mdns_vlan_browse stopping mDNS polling");
    const auto applied =
        std::find(messages.begin(), messages.end(), "4 rd_fw_control mdns firewall rules action apply status=0");
    EXPECT_TRUE(stopping < applied && applied != messages.end());
    EXPECT_EQ(browse(0), 0);
    EXPECT_EQ(calls(), Lines{}) << "the rule set only when asked for";
    EXPECT_EQ(log(), (Lines{"4 av_mdns_browse_service stopping mdns browse",
                            "5 av_stop_mdns_vlan_browse no mDNS poll to stop"}));
}

TEST_F(Browse, ProvisioningArgumentsLandInTheirFile)
{
    browse(1);
    script->wait_for_loop();
    log();
    find(kZeroTouch, items({"other=1", "ARGS=abc"}));
    EXPECT_EQ(rig::read_file(kFile), "VSI=abc\n");
    EXPECT_EQ(script->asked[5], "resolve srv " + std::string(kZeroTouch) + " local if=5 proto=0");
    EXPECT_EQ(script->asked[7], "free resolver");
    EXPECT_EQ(log(), (Lines{"5 av_browse_cb got new srvc 'srv'", "4 av_get_mdns_txt_data keypair: other = 1",
                            "4 av_get_mdns_txt_data keypair: ARGS = abc", "4 av_get_mdns_txt_data updated zt file",
                            "4 av_resolve_cb found srvc: far.local - 10.0.0.5"}));
    find(std::string(kZeroTouch) + "x", items({"args=x", "args=y=z"}));
    EXPECT_EQ(rig::read_file(kFile), "VSI=y=z\n");
    fs::remove(kFile);
    fs::create_directory(kFile);
    find(kZeroTouch, items({"args=x"}));
    EXPECT_TRUE(wait_for_message("2 av_get_mdns_txt_data ERROR - unable to open zt file"));
    fs::remove(kFile);
    fs::create_symlink("/dev/full", kFile);
    find(kZeroTouch, items({"args=x"}));
    EXPECT_TRUE(wait_for_message("2 av_get_mdns_txt_data ERROR - unable to write zt file No space left on device"));
}

TEST_F(Browse, OtherServicesTellTypeAndSlot)
{
    browse(1, "_Redfish._tcp");
    script->wait_for_loop();
    log();
    find("_Redfish._tcp",
         items({"DEF_DEVICETYPE=first", "DEF_DEVICETYPE=ServerModule01", "def_slotinfo=123", "args=x"}));
    EXPECT_EQ(log_of("av_resolve_cb"), Lines{"4 found srvc: far.local ServerMod-12 10.0.0.5"});
    EXPECT_EQ(rig::read_file(kFile), "(none)");
}

// Nothing overruns, and no line is written that is not ours.
TEST_F(Browse, HostileTextsAreHarmless)
{
    browse(1);
    script->wait_for_loop();
    log();
    Lines texts = {
        "", "=", "=x", "args", std::string("args=a\0b", 8), "args=one\n[22-Nov 00:00:00] rd_server():1 - lie"};
    for (int i = 0; i < 300; i++) {
        texts.push_back(std::string(255, static_cast<char>(i)));
    }
    const std::string longest = "args=" + std::string(250, '\xff');
    texts.push_back(longest);
    find(kZeroTouch, items(texts), std::string(1013, '\n').c_str());
    EXPECT_EQ(rig::read_file(kFile), "VSI=" + std::string(250, '\xff') + "\n");
    EXPECT_EQ(log_of("av_get_mdns_txt_data").size(), texts.size() + 3) << "one record an item, and three updates";
    find(kZeroTouch, items({"args=one\ntwo\r\t\x7f"}));
    EXPECT_EQ(rig::read_file(kFile), "VSI=one?two?\t\x7f\n");
    find("_Redfish._tcp", items({"DEF_DEVICETYPE=" + std::string(240, 'x'), "DEF_SLOTINFO=" + std::string(240, 'y')}));
    EXPECT_EQ(log_of("av_resolve_cb").back(), "4 found srvc: far.local xxxxxxxxx-yy 10.0.0.5");
}

TEST_F(Browse, EventsAreLogged)
{
    browse(1);
    script->wait_for_loop();
    log();
    in_loop([] {
        const auto event = [](AvahiBrowserEvent what) {
            script->browser_cb(script->browser, 5, 0, what, "srv\n", "_a._tcp", "local", AvahiLookupResultFlags(0),
                               script->browser_data);
        };
        for (const AvahiClientState state :
             {AVAHI_CLIENT_S_REGISTERING, AVAHI_CLIENT_S_RUNNING, AVAHI_CLIENT_S_COLLISION, AVAHI_CLIENT_CONNECTING}) {
            script->state(state);
        }
        script->client_cb(nullptr, AVAHI_CLIENT_FAILURE, nullptr);
        event(AVAHI_BROWSER_CACHE_EXHAUSTED);
        event(AVAHI_BROWSER_ALL_FOR_NOW);
        event(AVAHI_BROWSER_REMOVE);
        script->failing = {"resolver"};
        event(AVAHI_BROWSER_NEW);
        script->failing = {};
        event(AVAHI_BROWSER_NEW);
        script->resolver_cb(script->resolver, 5, 0, AVAHI_RESOLVER_FAILURE, "srv\n", "_a._tcp", "local", nullptr,
                            nullptr, 0, nullptr, AvahiLookupResultFlags(0), nullptr);
        script->resolver_cb(nullptr, 5, 0, AVAHI_RESOLVER_FAILURE, "", "", "", nullptr, nullptr, 0, nullptr,
                            AvahiLookupResultFlags(0), nullptr);
        script->browser_cb(nullptr, 5, 0, AVAHI_BROWSER_NEW, "", "", "", AvahiLookupResultFlags(0), nullptr);
    });
    EXPECT_EQ(script->asked.back(), "free resolver");
    EXPECT_EQ(log(),
              (Lines{"5 av_mdns_browse_client_cb state = REGISTERING", "5 av_mdns_browse_client_cb state = RUNNING",
                     "5 av_mdns_browse_client_cb state = COLLISION", "5 av_mdns_browse_client_cb state = CONNECTING",
                     "5 av_mdns_browse_client_cb invalid client", "5 av_browse_cb CACHE_EXHAUSTED",
                     "5 av_browse_cb ALL_FOR_NOW", "5 av_browse_cb got REMOVE: srvc 'srv?'",
                     "5 av_browse_cb got new srvc 'srv?'",
                     "2 av_browse_cb ERROR - unable to resolve service 'srv?': Operation failed",
                     "5 av_browse_cb got new srvc 'srv?'",
                     "2 av_resolve_cb ERROR - unable to resolve service 'srv?' in domain 'local': Operation failed",
                     "2 av_resolve_cb ERROR - no service resolver", "5 av_browse_cb no service resolver"}));
}

TEST_F(Browse, FailuresEndTheCycle)
{
    const std::pair<std::string, avahi::Script::Event> cases[] = {
        {"4 av_mdns_browse_client_cb cant connect to server: Operation failed",
         [] { script->state(AVAHI_CLIENT_FAILURE); }},
        {"5 av_browse_cb browser failure: Operation failed",
         [] {
             script->browser_cb(script->browser, 5, 0, AVAHI_BROWSER_FAILURE, "", "", "", AvahiLookupResultFlags(0),
                                script->browser_data);
         }},
    };
    for (const auto &[message, event] : cases) {
        browse(1);
        script->wait_for_loop();
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
        const int64_t start = zclock_mono();
        platform_log.take();
        browse(1);
        ASSERT_TRUE(wait_for_message("5 av_mdns_browse_thread thread exiting..."));
        EXPECT_TRUE(wait_for_message("2 av_mdns_browse_thread ERROR - " + message));
        EXPECT_EQ(zclock_mono() - start >= 1999, what == "client") << "waits before it gives up on Avahi";
    }
}

TEST_F(Browse, DebugPingsThenBrowsesForThreeSeconds)
{
    struct sigaction action {
    };
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 150'000}, {0, 150'000}};
    browse(1); // ended, and not started again
    script->wait_for_loop();
    NgmDebugRequest probe{5, 4, {"fe80::1", "fe80::2", "no address", "fe80::3"}};
    memset(probe.router[2] + 10, ':', sizeof probe.router[2] - 10);
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::1", 1);
    answer("/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::2", 2);
    setitimer(ITIMER_REAL, &often, nullptr); // signals do not shorten the browse
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_ngm_debug(&probe), 512) << "the last that failed";
    EXPECT_GE(zclock_mono() - start, 2999);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    const std::string ping = "/bin/ping -6 -c 1 -I eth0.4003 -W 1 fe80::";
    EXPECT_EQ(calls(), (Lines{ping + "1", ping + "2", ping + "3"}));
    script->wait_for_end();
    Lines asked = script->asked;
    std::erase_if(asked, [](const std::string &line) { return !line.starts_with("browse "); });
    EXPECT_EQ(asked, (Lines{"browse " + std::string(kZeroTouch) + " if=5", "browse _Redfish._tcp if=5"}));
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
    EXPECT_TRUE(rig::wait_until([] {
        const std::lock_guard lock(script->mutex);
        return script->live.size() == 3 && script->running_loops == 1 &&
               std::count(script->asked.begin(), script->asked.end(), "free poll") == 1;
    })) << "one goes on";
    EXPECT_EQ(std::count(script->asked.begin(), script->asked.end(), "browse _b._tcp if=5"), 1);
}

TEST_F(Browse, ThreadThatCannotBeHadIsReported)
{
    script->failing = {"thread"};
    EXPECT_EQ(browse(1), 0);
    script->failing = {};
    EXPECT_TRUE(wait_for_message("2 av_start_mdns_console_browse ERROR - creating mdns browse thread rc=11"));
    EXPECT_EQ(script->asked, Lines{});
}

TEST_F(Browse, NewBrowseEndsTheOneBefore)
{
    browse(1);
    script->wait_for_loop();
    log();
    browse(1, "_a._tcp");
    EXPECT_TRUE(wait_for_message("5 av_start_mdns_console_browse stopping mDNS polling"));
    EXPECT_TRUE(rig::wait_until([] {
        const std::lock_guard lock(script->mutex);
        return std::count(script->asked.begin(), script->asked.end(), "free poll") == 1 && script->running_loops == 1;
    }));
    EXPECT_TRUE(rig::wait_until([] { return threads() == 1; }));
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
    EXPECT_TRUE(rig::wait_until([] {
        const std::lock_guard lock(script->mutex);
        return script->running_loops == 1 &&
               std::count(script->asked.begin(), script->asked.end(), "browse _last._tcp if=5") == 1 &&
               script->live.size() == 3;
    }));
    browse(0);
    script->wait_for_end();
    EXPECT_EQ(rig::open_descriptors(getpid()), descriptors);
}
