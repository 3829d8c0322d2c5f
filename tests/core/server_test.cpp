#include "rig/rig.h"

#include <algorithm>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;
using rig::Lines;

static const std::string kEth1Down = "LINK ifname=eth1";

using Server = rig::Controller;

// What a frame leaves out reads as zeros; without a whole header it is refused.
TEST_F(Server, ReadsShortFrames)
{
    Daemon daemon;
    Client client;
    RequestFrame frame{};
    frame.header = {RD_CMD_LINK, 0, 42};
    frame.link = {1, "eth1"};
    for (size_t size = 0; size < 12; size++) {
        const ReplyFrame reply = client.exchange(&frame, size);
        EXPECT_EQ(reply.rc, 13) << size;
        EXPECT_EQ(reply.cmd, size > 0 ? 7U : 0U);
        EXPECT_EQ(reply.tag, size > 8 ? 42U : 0U);
    }
    EXPECT_EQ(calls(), Lines{});
    const std::pair<size_t, std::string> cases[] = {{12, "'' down"}, {13, "'' up"},     {19, "eth up"},
                                                    {20, "eth1 up"}, {1037, "eth1 up"}, {65536, "eth1 up"}};
    for (const auto &[size, words] : cases) {
        std::string bytes(reinterpret_cast<const char *>(&frame), sizeof frame);
        bytes.resize(size, 'x');
        EXPECT_EQ(client.exchange(bytes.data(), size).rc, 0) << size;
        EXPECT_EQ(calls(), Lines{"/sbin/ip link set dev " + words}) << size;
    }
}

TEST_F(Server, RefusesMessagesThatAreTooLargeOrOfSeveralParts)
{
    Daemon daemon;
    Client client;
    {
        Client sender;
        zsock_set_rcvtimeo(sender.socket(), 500);
        zframe_t *frame = zframe_new(std::string(RD_MAX_MESSAGE + 1, 'x').data(), RD_MAX_MESSAGE + 1);
        zframe_send(&frame, sender.socket(), 0);
        EXPECT_EQ(zframe_recv(sender.socket()), nullptr);
    }
    for (const std::string &second : {kEth1Down, std::string("TERMINATE")}) {
        for (const RequestFrame &part : {rig::request_of(kEth1Down + " tag=5"), rig::request_of(second)}) {
            zframe_t *frame = zframe_new(&part, sizeof part);
            zframe_send(&frame, client.socket(), ZFRAME_MORE);
        }
        zstr_send(client.socket(), "");
        const ReplyFrame reply = client.receive();
        EXPECT_EQ(reply.rc, 12);
        EXPECT_EQ(reply.tag, 5U);
    }
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(client.request(kEth1Down), 0);
    EXPECT_EQ(Client().request(kEth1Down), 0);
}

// Each SIGCHLD interrupts the receive once: the 101st receive in a row without a frame ends the server.
TEST_F(Server, EndsAfterTooManyEmptyReceives)
{
    Daemon daemon;
    Client client;
    const auto interrupt = [&](int times) {
        for (int i = 0; i < times; i++) {
            platform_log.take();
            ASSERT_TRUE(rig::wait_until([&] { // one can come between two system calls
                daemon.is_receiving() ? kill(daemon.pid(), SIGCHLD) : 0;
                return wait_for_message("6 rd_server server received empty frame", 100);
            }));
        }
    };
    for (int i = 0; i < 2; i++) { // from the start on, and again from a request on
        interrupt(100);
        EXPECT_EQ(client.request(kEth1Down), 0);
    }
    interrupt(100);
    ASSERT_TRUE(wait_for_message("waiting for msg")) << "the 100th still serves";
    error_log();
    interrupt(1);
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(log(), (Lines{"6 rd_server server received empty frame",
                            "2 rd_server ERROR - too many empty frames received, exiting to reset socket",
                            "4 rd_server server exiting"}));
}

// Deliveries of SIGCHLD merge, so that one may stand for many children.
TEST_F(Server, ReapsAllChildrenThatHaveEndedInOnePass)
{
    Daemon daemon({"zmqs"}, [] {
        for (int i = 0; i < 4; i++) {
            if (fork() == 0) {
                usleep(i == 0 ? 700'000 : 0); // the others are gone before the daemon counts
                _exit(i);
            }
        }
        usleep(200'000);
    });
    for (const char *status : {"0", "256", "512", "768"}) {
        EXPECT_TRUE(wait_for_message("reaped a zombie child. status=" + std::string(status) + "\n"));
    }
}

TEST_F(Server, GivesTheSocketToItsGroupOrServesWithoutIt)
{
    const std::string groups = rig::read_file("/etc/group");
    for (const bool grouped : {true, false}) {
        rig::write_file("/etc/group", grouped ? groups : "root:x:0:\n");
        Daemon daemon;
        EXPECT_EQ(Client().request(kEth1Down), 0);
        struct stat socket {
        };
        ASSERT_EQ(stat(RD_SOCKET_PATH, &socket), 0);
        EXPECT_EQ(socket.st_mode & 07777, grouped ? 0770U : 0755U) << "without the group, as the umask made it";
        EXPECT_EQ(socket.st_uid, 0U);
        EXPECT_TRUE(!grouped || groups.ends_with(":" + std::to_string(socket.st_gid) + ":\n"));
        EXPECT_EQ(log()[0] == "2 rd_set_socket_perms ERROR - failed to get group id info", !grouped);
    }
    rig::write_file("/etc/group", groups);
}

TEST_F(Server, EndsWhenTheSocketCannotBeBound)
{
    for (const char *obstacle : {RD_SOCKET_PATH "/occupied", ""}) { // or no folder for it
        fs::remove_all("/run/q7net");
        *obstacle != '\0' ? rig::write_file(obstacle, "") : void();
        EXPECT_EQ(Daemon().wait(), 0);
        EXPECT_EQ(platform_log.take(), Lines{"4 rd_server error on zsock_new_rep"});
    }
}

// Binding would take the socket away from the first, which would be deaf from then on.
TEST_F(Server, LeavesTheSocketToAServerThatLives)
{
    Daemon first;
    EXPECT_EQ(Client().request(kEth1Down), 0);
    EXPECT_EQ(Daemon().wait(), 0);
    EXPECT_EQ(Client().request(kEth1Down), 0);
    EXPECT_TRUE(wait_for_message("2 rd_open_endpoint ERROR - another server listens on /run/q7net/q7rd.socket\n"
                                 "4 rd_server error on zsock_new_rep\n"));
}

TEST_F(Server, TellsTheServiceManagerWhenItIsReadyAndWhenItStops)
{
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/run/notify"};
    ASSERT_EQ(bind(manager, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const auto told = [manager](const char *expected) {
        char state[64] = "";
        return rig::wait_until([&] { return recv(manager, state, sizeof state - 1, MSG_DONTWAIT) > 0; }) &&
               std::string(state) == expected;
    };
    Daemon daemon({"zmqs"}, [] { setenv("NOTIFY_SOCKET", "/run/notify", 1); });
    EXPECT_TRUE(told("READY=1"));
    EXPECT_EQ(fs::status(RD_SOCKET_PATH).permissions(), fs::perms::owner_all | fs::perms::group_all);
    EXPECT_EQ(Client().request("TERMINATE"), 0);
    EXPECT_TRUE(told("STOPPING=1"));
    EXPECT_EQ(daemon.wait(), 0);
    close(manager);
}

TEST_F(Server, ServesOnWhenTheErrorLogMayGrowNoMore)
{
    constexpr rlim_t kMost = 2000;
    Daemon daemon({"zmqs"}, [] {
        const rlimit small{kMost, kMost};
        setrlimit(RLIMIT_FSIZE, &small);
        clearenv(); // which the tool's stand-in notes down, under the same limit
    });
    Client client;
    for (int i = 0; i < 60; i++) {
        EXPECT_EQ(client.request(kEth1Down), 0);
    }
    EXPECT_EQ(fs::file_size("/run/q7net/q7neterrs"), kMost);
    fs::remove("/sbin/ip");
    EXPECT_EQ(client.request(kEth1Down), 65280) << "from a child that could not say why";
    fs::create_symlink("/rig/standin", "/sbin/ip");
    EXPECT_EQ(client.request(kEth1Down), 0);
}

TEST_F(Server, EndsWhenItCannotBeRoot)
{
    if (chown("/run/q7net", 1000, 1000) != 0) {
        GTEST_SKIP() << "needs a second user: only the real root can be another one";
    }
    Daemon daemon({"zmqs"}, [] { EXPECT_EQ(setresuid(1000, 1000, 1000), 0); });
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_EQ(log(), (Lines{"2 rd_set_socket_perms ERROR - failed to set /run/q7net/q7rd.socket ownership",
                            "2 rd_server ERROR - unable to set root. exiting!"}));
}

using Main = rig::Controller;

TEST_F(Main, ChoosesTheModeFromItsArguments)
{
    // Arguments, and what is said; without a system bus there is no Avahi client.
    const std::string publishing = "4 rd_publish_start publishing ovrak.local=";
    const std::string no_client = "4 rd_publish_start avahi publishing started rc=18";
    const std::pair<Lines, Lines> cases[] = {
        {{}, {"4 main no command"}},
        {{"ZMQS"}, {}},
        {{"zmqsx"}, {}},
        {{"mdnspub"}, {}},
        {{"mdnspu", "10.0.0.5"}, {}},
        {{"mdnspub", "10.0.0.5", "extra"}, {}},
        {{"mdnspub", "1.2.3"}, {"2 rd_publish_start ERROR - Invalid IP address"}},
        {{"mdnspubX", "999.1.1.1"}, {publishing + "999.1.1.1 on usbpt", no_client}},
        {{"mdnspub", "fe80::1"}, {publishing + "fe80::1 on usbpt", no_client}},
    };
    for (const auto &[arguments, said] : cases) {
        EXPECT_EQ(Daemon(arguments).wait(), arguments.empty() ? 15 << 8 : 0);
        Lines messages = log();
        std::erase_if(messages,
                      [](const std::string &message) { return message.find(" av_publish") != std::string::npos; });
        EXPECT_EQ(messages, said) << testing::PrintToString(arguments);
    }
}

TEST_F(Main, SignalsEndItAtOnce)
{
    const std::pair<int, int> cases[] = {{SIGTERM, SIGTERM}, {SIGINT, SIGINT}, {SIGHUP, SIGHUP}, {SIGABRT, 1 << 8}};
    for (const auto &[sig, status] : cases) {
        Daemon daemon({"zmqs"}, [] { // whoever starts us may have blocked them, which outlives exec
            sigset_t all;
            sigfillset(&all);
            sigprocmask(SIG_SETMASK, &all, nullptr);
        });
        ASSERT_TRUE(wait_for_message("waiting for msg"));
        log();
        kill(daemon.pid(), sig);
        EXPECT_EQ(daemon.wait(), status);
        EXPECT_EQ(log(), Lines{}) << "signal " << sig;
    }
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
