#include "rig/rig.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Daemon;
using rig::Lines;

class Main : public rig::Controller
{
};

TEST_F(Main, ChoosesTheModeFromItsArguments)
{
    // Without a system bus there is no Avahi client.
    const auto publishing = [](const std::string &address) {
        return Lines{"4 rd_publish_start publishing ovrak.local=" + address + " on usbpt",
                     "4 av_publish ",
                     "5 av_publish creating avahi simple poll object",
                     "5 av_publish created avahi simple poll object",
                     "5 av_publish creating avahi client",
                     "2 av_publish ERROR - failed to create avahi mdns client",
                     "4 av_publish exiting",
                     "4 av_publish_start mdns publishing ended rc=18",
                     "4 rd_publish_start avahi publishing started rc=18"};
    };
    struct {
        Lines arguments;
        int exit_status;
        Lines messages;
    } const cases[] = {
        {{}, 15, {"4 main no command"}},
        {{"ZMQS"}, 0, {}},
        {{"zmqsx"}, 0, {}},
        {{""}, 0, {}},
        {{"mdnspub"}, 0, {}},
        {{"mdnspu", "10.0.0.5"}, 0, {}},
        {{"mdnspub", "10.0.0.5", "extra"}, 0, {}},
        {{"mdnspub", "ctrl-a"}, 0, {"2 rd_publish_start ERROR - Invalid IP address"}},
        {{"mdnspub", "1.2.3"}, 0, {"2 rd_publish_start ERROR - Invalid IP address"}},
        {{"mdnspubX", "10.0.0.5"}, 0, publishing("10.0.0.5")},
        {{"mdnspub", "999.1.1.1"}, 0, publishing("999.1.1.1")},
        {{"mdnspub", "fe80::1"}, 0, publishing("fe80::1")},
    };
    for (const auto &c : cases) {
        Daemon daemon(c.arguments);
        EXPECT_EQ(daemon.wait(), c.exit_status << 8) << testing::PrintToString(c.arguments);
        EXPECT_EQ(log(), c.messages) << testing::PrintToString(c.arguments);
    }
}

TEST_F(Main, SignalsEndItAtOnce)
{
    const std::pair<int, int> cases[] = {{SIGTERM, SIGTERM}, {SIGINT, SIGINT}, {SIGHUP, SIGHUP}, {SIGABRT, 1 << 8}};
    for (const auto &[sig, status] : cases) {
        Daemon daemon;
        ASSERT_TRUE(wait_for_message("waiting for msg"));
        log();
        kill(daemon.pid(), sig);
        EXPECT_EQ(daemon.wait(), status);
        EXPECT_EQ(log(), Lines{}) << "signal " << sig;
    }
}

TEST_F(Main, CatchesOnlySigchldAndSigabrt)
{
    Daemon daemon;
    ASSERT_TRUE(wait_for_message("waiting for msg"));
    const std::string status = rig::read_file("/proc/" + std::to_string(daemon.pid()) + "/status");
    const auto bit = [](int sig) { return 1ULL << (sig - 1); };
    unsigned long long caught = std::stoull(status.substr(status.find("SigCgt:") + 7), nullptr, 16);
    caught &= bit(32) - 1; // the C library's own real-time signals are not ours
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    caught &= ~(bit(SIGSEGV) | bit(SIGBUS) | bit(SIGFPE));
#endif
    EXPECT_EQ(caught, bit(SIGCHLD) | bit(SIGABRT));
}

TEST_F(Main, MessagesAlsoShowOnATerminal)
{
    const int terminal = posix_openpt(O_RDWR | O_CLOEXEC | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    Daemon daemon(
        {}, [name = std::string(ptsname(terminal))] { dup2(open(name.c_str(), O_RDWR | O_NOCTTY), STDERR_FILENO); });
    std::string shown;
    for (char c = '\0'; c != '\n' && read(terminal, &c, 1) == 1;) {
        shown += c;
    }
    EXPECT_TRUE(shown.starts_with("q7net-shellexec: main():") && shown.ends_with(" - no command\r\n")) << shown;
    close(terminal);
}
