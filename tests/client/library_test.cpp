// The client library, where it takes a program to see what it does.

#include "rig/rig.h"

#include <q7net/client.h>

#include <poll.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>

namespace
{

class Library : public rig::Controller
{
  protected:
    Library() { EXPECT_EQ(q7net_open(&client_, nullptr), Q7NET_OK); }
    ~Library() override { q7net_close(client_); }

    int request(const std::string &words, int limit)
    {
        const RequestFrame frame = rig::request_of(words);
        return q7net_request(client_, &frame, sizeof frame, &reply_, limit);
    }
    int send(const std::string &words)
    {
        const RequestFrame frame = rig::request_of(words);
        return q7net_send(client_, &frame, sizeof frame);
    }
    int wait()
    {
        int result = Q7NET_PENDING;
        while ((result = q7net_receive(client_, &reply_)) == Q7NET_PENDING) {
            pollfd ready{q7net_fd(client_), POLLIN, 0};
            EXPECT_EQ(poll(&ready, 1, 10'000), 1);
        }
        return result;
    }

    q7net *client_ = nullptr;
    ReplyFrame reply_{};
};

// Takes a request, and answers it with so many bytes. Returns its tag.
std::string taken(zsock_t *socket, size_t size = 0, uint32_t tag_change = 0)
{
    zsock_set_rcvtimeo(socket, 300);
    zframe_t *frame = zframe_recv(socket);
    if (frame == nullptr) {
        return "nothing";
    }
    ReplyFrame reply{};
    memcpy(&reply, zframe_data(frame), sizeof(RequestHeader));
    zframe_destroy(&frame);
    std::string tag = std::to_string(reply.tag);
    reply.tag += tag_change;
    frame = zframe_new(&reply, size);
    size == 0 ? zframe_destroy(&frame) : void(zframe_send(&frame, socket, 0));
    return tag;
}

} // namespace

TEST_F(Library, WaitsForADaemonThatIsJustStarting)
{
    EXPECT_EQ(request("LINK tag=1 state=1 ifname=eth1", 50), Q7NET_NO_DAEMON);
    std::unique_ptr<rig::Daemon> daemon;
    const std::jthread later([&] {
        zclock_sleep(300);
        daemon = std::make_unique<rig::Daemon>();
    });
    EXPECT_EQ(request("LINK tag=2 state=1 ifname=eth1", 20'000), Q7NET_OK) << q7net_problem(client_);
    EXPECT_EQ(calls(), rig::Lines{"/sbin/ip link set dev eth1 up"});
}

// A stopped daemon's backlog takes the connection, and nothing comes of it.
TEST_F(Library, SleepsWhileNothingComes)
{
    rig::Daemon daemon;
    ASSERT_TRUE(wait_for_message("waiting for msg"));
    kill(daemon.pid(), SIGSTOP);
    const std::string stat = "/proc/" + std::to_string(daemon.pid()) + "/stat";
    ASSERT_TRUE(rig::wait_until([&stat] { return rig::read_file(stat).find(") T ") != std::string::npos; }));
    const auto used_ms = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return time.tv_sec * 1000 + time.tv_nsec / 1'000'000;
    };
    const auto before = used_ms();
    EXPECT_EQ(request("LINK ifname=eth1", 1000), Q7NET_NO_DAEMON);
    EXPECT_LT(used_ms() - before, 300);
    kill(daemon.pid(), SIGCONT);
    EXPECT_EQ(request("LINK", 20'000), Q7NET_OK) << q7net_problem(client_);
}

// Above all while ZeroMQ's thread tells of a connection.
TEST_F(Library, GivesUpAtAnyMoment)
{
    const rig::Daemon daemon;
    EXPECT_EQ(request("LINK", 20'000), Q7NET_OK);
    for (int us = 0; us < 500; us++) {
        send("LINK");
        usleep(static_cast<useconds_t>(us));
        q7net_give_up(client_);
    }
    EXPECT_EQ(request("LINK", 20'000), Q7NET_OK) << q7net_problem(client_);
}

// Above all where a signal ends ZeroMQ's calls.
TEST_F(Library, SignalsCostNothing)
{
    const rig::Daemon daemon;
    const auto descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    EXPECT_EQ(request("LINK", 20'000), Q7NET_OK);
    const auto open = descriptors();
    signal(SIGALRM, [](int) {});
    const itimerval often{{0, 100}, {0, 100}};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 300; i++) {
        q7net *client = nullptr;
        const RequestFrame frame = rig::request_of("LINK");
        ASSERT_EQ(q7net_open(&client, nullptr), Q7NET_OK);
        EXPECT_EQ(q7net_request(client, &frame, sizeof frame, &reply_, 20'000), Q7NET_OK) << q7net_problem(client);
        q7net_close(client);
    }
    setitimer(ITIMER_REAL, std::make_unique<itimerval>().get(), nullptr);
    EXPECT_EQ(descriptors(), open);
}

// A reply may be read together with the end behind it, and a client that waits for nothing hears of an end, too.
TEST_F(Library, TakesNoticeOfAnEndBehindAReply)
{
    for (const bool idle : {false, true}) {
        q7net_close(client_);
        ASSERT_EQ(q7net_open(&client_, nullptr), Q7NET_OK);
        zsock_t *socket = zsock_new_rep("@" RD_ENDPOINT);
        zsock_set_rcvtimeo(socket, 10'000);
        std::atomic<int> step = 0; // 1: the request has come, 2: the server answers, 3: and ends
        ASSERT_EQ(send("LINK"), Q7NET_OK);
        std::jthread server([&] {
            zframe_t *frame = zframe_recv(socket);
            step = 1;
            rig::wait_until([&] { return step > 1; });
            const ReplyFrame reply{.cmd = RD_CMD_LINK, .reserved = 0, .tag = 0, .rc = 0, .padding = {}};
            zframe_reset(frame, &reply, sizeof reply);
            zframe_send(&frame, socket, 0);
            rig::wait_until([&] { return step > 2; });
            zsock_set_linger(socket, 1000);
            zsock_destroy(&socket);
        });
        while (step == 0) {
            ASSERT_EQ(q7net_receive(client_, &reply_), Q7NET_PENDING);
        }
        if (idle) {
            step = 2;
            EXPECT_EQ(wait(), Q7NET_OK);
        }
        step = 3;
        server.join();
        zclock_sleep(300); // for both to arrive
        EXPECT_EQ(idle ? Q7NET_OK : wait(), Q7NET_OK);
        EXPECT_TRUE(rig::wait_until([this] {
            EXPECT_EQ(q7net_receive(client_, &reply_), Q7NET_BAD_MESSAGE);
            pollfd ready{q7net_fd(client_), POLLIN, 0};
            return poll(&ready, 1, 0) == 0;
        })) << "something is told for ever";
        const rig::Daemon daemon;
        EXPECT_EQ(request("LINK", 20'000), Q7NET_OK) << q7net_problem(client_);
    }
}

// What may have been carried out is not sent again, to nobody, and its late reply is no other's.
TEST_F(Library, SendsNothingTwice)
{
    zsock_t *socket = zsock_new_rep("@" RD_ENDPOINT);
    ASSERT_EQ(send("LINK tag=1"), Q7NET_OK);
    std::jthread ends([&] {
        EXPECT_EQ(taken(socket), "1");
        zsock_destroy(&socket);
    });
    EXPECT_EQ(wait(), Q7NET_LOST);
    ends.join();
    socket = zsock_new_rep("@" RD_ENDPOINT);
    EXPECT_EQ(taken(socket), "nothing");
    EXPECT_EQ(request("LINK tag=2", 500), Q7NET_TIME_OVER);
    EXPECT_EQ(taken(socket, sizeof(ReplyFrame)), "2");
    zsock_set_linger(socket, 1000); // a server that ends with its last reply on its way
    const std::jthread answers([&] {
        EXPECT_EQ(taken(socket, sizeof(ReplyFrame)), "3");
        EXPECT_EQ(taken(socket, sizeof(ReplyFrame) - 1), "4");
        EXPECT_EQ(taken(socket, sizeof(ReplyFrame), 1), "5");
        zsock_destroy(&socket);
    });
    EXPECT_EQ(request("LINK tag=3", 10'000), Q7NET_OK);
    EXPECT_EQ(request("LINK tag=4", 10'000), Q7NET_BAD_REPLY);
    EXPECT_STREQ(q7net_problem(client_), "an answer of 1035 bytes, which is no reply");
    EXPECT_EQ(request("LINK tag=5", 10'000), Q7NET_BAD_REPLY);
}

TEST_F(Library, ServesAnEventLoopAndSurvivesFork)
{
    const rig::Daemon daemon;
    answer("/sbin/ip link set dev eth1", 3, 500);
    const int fd = q7net_fd(client_);
    ASSERT_EQ(request("SIDEBAND", 10'000), Q7NET_OK);
    ASSERT_EQ(send("LINK tag=1 state=1 ifname=eth1"), Q7NET_OK);
    EXPECT_EQ(q7net_receive(client_, &reply_), Q7NET_PENDING);
    const pid_t child = fork();
    if (child == 0) { // its own requests go on while the parent's is under way
        const bool none = q7net_receive(client_, &reply_) == Q7NET_BAD_MESSAGE;
        const bool good =
            none && request("LINK tag=2 state=1 ifname=eth2", 10'000) == Q7NET_OK && q7net_fd(client_) == fd;
        q7net_close(client_);
        _exit(good && reply_.rc == 0 ? 0 : 1);
    }
    EXPECT_EQ(wait(), Q7NET_OK);
    EXPECT_EQ(reply_.rc, 3 << 8);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(request("LINK tag=4 ifname=eth3", 10'000), Q7NET_OK);
    EXPECT_EQ(q7net_fd(client_), fd);
}

TEST_F(Library, RefusesWhatIsNoRequest)
{
    const std::string bytes(RD_MAX_MESSAGE + 1, '\0');
    EXPECT_EQ(q7net_send(client_, bytes.data(), bytes.size()), Q7NET_BAD_MESSAGE);
    EXPECT_EQ(q7net_send(client_, bytes.data(), sizeof(RequestHeader) - 1), Q7NET_BAD_MESSAGE);
    EXPECT_EQ(q7net_receive(client_, &reply_), Q7NET_BAD_MESSAGE);
    for (int result = Q7NET_OK; result <= Q7NET_BAD_REPLY; result++) {
        EXPECT_STRNE(q7net_strerror(result), q7net_strerror(-1));
    }
}

// By its command, and of some commands by what the request asks for.
TEST_F(Library, ExplainsResults)
{
    const struct {
        const char *request;
        int32_t rc;
        int verdict;
        const char *text;
    } cases[] = {
        {"LINK", 11, Q7NET_REFUSED, "refused: a text is longer than allowed, or ip was killed by signal 11"},
        {"LINK", 14, Q7NET_WAIT_STATUS, "ip was killed by signal 14, Alarm clock"},
        {"LINK", 127, Q7NET_WAIT_STATUS, "no result code that is known here"},
        {"LINK", 65280, Q7NET_WAIT_STATUS, "ip could not be executed, or ended with exit status 255"},
        {"LINK", 139, Q7NET_WAIT_STATUS, "ip was killed by signal 11, Segmentation fault"},
        {"LINK", -1, Q7NET_FAILED, "failed: a child process or a system call failed"},
        {"HOSTNAME", -1, Q7NET_FAILED, "failed: the kernel did not take the name, which it limits to 64 characters"},
        {"HOSTNAME", 11, Q7NET_REFUSED, "refused: name is longer than 257 characters"},
        {"SERVICE", 0, Q7NET_UNPROVEN, "done: it was started; --wait tells how it ends"},
        {"SERVICE wait=1", 256, Q7NET_WAIT_STATUS, "systemctl ended with exit status 1"},
        {"SERVICE service=5", 0, Q7NET_SUCCESS, "done"},
        {"SERVICE service=5 action=1", 0, Q7NET_UNPROVEN, "done: it was started; --wait tells how it ends"},
        {"FIREWALL ruleset=2", 0, Q7NET_UNPROVEN, "done: the error log tells whether forwarding was switched"},
        {"SEND_PACKET", 10, Q7NET_REFUSED, "refused: a required name is missing"},
        {"FIREWALL", 0, Q7NET_UNPROVEN, "done: the error log tells how the firewall script ended"},
        {"DHCP_RELEASE dhcp4=1 dhcp6=1", 768, Q7NET_WAIT_STATUS,
         "dhclient, the statuses of its two runs combined, ended with exit status 3"},
        {"USBNIC", 256, Q7NET_WAIT_STATUS, "ip ended with exit status 1"},
        {"USBNIC action=1 dhcp_server=1", 256, Q7NET_WAIT_STATUS, "udhcpd ended with exit status 1"},
        {"USBNIC action=1", 9, Q7NET_WAIT_STATUS, "kill was killed by signal 9, Killed"},
        {"CONJOIN", 17, Q7NET_FAILED, "failed: the bond's settings could not be opened: is it a bond?"},
        {"SEND_PACKET", 64, Q7NET_SUCCESS, "done: sent 64 bytes"},
        {"IPV4_DAD", 512, Q7NET_WAIT_STATUS, "the probe was answered or failed, and ip ended with exit status 2"},
    };
    char text[Q7NET_TEXT_SIZE];
    for (const auto &each : cases) {
        const RequestFrame frame = rig::request_of(each.request);
        EXPECT_EQ(q7net_explain(&frame, sizeof frame, each.rc, text, sizeof text), each.verdict) << each.request;
        EXPECT_STREQ(text, each.text);
    }
}
