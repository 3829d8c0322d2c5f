// What peers may do to the socket that the group can reach, while a client that keeps to the protocol is served: none of its
// replies may be lost.

#include "base/file.h"
#include "rig/rig.h"

#include <atomic>
#include <deque>
#include <random>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;

// How every ZMTP connection begins (RFC 23): the greeting, with the mechanism NULL, and the command READY of a REQ socket.
static const std::string kGreeting = std::string("\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL", 16) + std::string(48, '\0');
static const std::string kReady = std::string("\4\x19\5READY\xbSocket-Type\0\0\0\3REQ", 27);

// A connection without a ZeroMQ of its own.
class Raw
{
  public:
    explicit Raw(const std::string &bytes = "") : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = RD_SOCKET_PATH};
        EXPECT_EQ(connect(fd_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        say(bytes);
    }
    void say(const std::string &bytes) const
    {
        send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT); // the daemon may have hung up
    }
    // The whole handshake. Frames that come with it in one piece would be thrown away with the connection.
    void shake_hands() const
    {
        say(kGreeting + kReady);
        char theirs[128];
        const ssize_t got = recv(fd_.get(), theirs, kGreeting.size() + 2, MSG_WAITALL);
        ASSERT_EQ(got, static_cast<ssize_t>(kGreeting.size()) + 2);
        const auto length = static_cast<unsigned char>(theirs[kGreeting.size() + 1]);
        ASSERT_EQ(recv(fd_.get(), theirs, length, MSG_WAITALL), length);
    }

  private:
    Descriptor fd_;
};

class ServerUnderAttack : public rig::Controller
{
  protected:
    ~ServerUnderAttack() override
    {
        EXPECT_EQ(Client().request("LINK ifname=eth1"), 0) << "who comes later is served too";
        rig::wait_until([this, before = answered_.load()] { return answered_ > before + 3; });
        bystander_.request_stop();
        bystander_.join();
        EXPECT_GT(answered_, 3);
        EXPECT_TRUE(rig::wait_until([this] { return rig::open_descriptors(daemon_.pid()) <= descriptors_; }));
    }

    // Sends one request after another. Each must be answered.
    void stand_by(const std::stop_token &stop)
    {
        for (Client client; !stop.stop_requested(); answered_++) {
            ASSERT_EQ(client.request("LINK tag=42 ifname=eth1"), 0) << "a reply was lost";
        }
    }

    Daemon daemon_;
    Client first_; // CZMQ sets itself up with the first socket, which two threads must not make at once
    const int served_ = first_.request("LINK ifname=eth1");
    const size_t descriptors_ = rig::open_descriptors(daemon_.pid()) + 1; // with the bystander's
    std::atomic<int> answered_ = 0;
    std::jthread bystander_{[this](const std::stop_token &stop) { stand_by(stop); }};
};

TEST_F(ServerUnderAttack, ByHalfHandshakesAndFramesThatLie)
{
    const std::string handshake = kGreeting + kReady;
    std::deque<Raw> peers;
    for (size_t size = 0; size <= handshake.size(); size++) {
        peers.emplace_back(handshake.substr(0, size));
        const Raw gone(handshake.substr(0, size));
    }
    std::minstd_rand random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    for (unsigned round = 0; round < 400; round++) {
        std::string frames(1, static_cast<char>(round % 8)); // flags: more, long, command
        for (size_t i = random() % 40; i > 0; i--) {
            frames += static_cast<char>(round % 3 == 0 ? 0xff : random() % 256); // lengths of up to 2^64-1 bytes
        }
        const Raw peer;
        peer.shake_hands();
        peer.say(frames);
    }
}

// Messages without the empty part that leads a request, from peers that stay and from such as are gone at once, also while
// a tool runs: with libzmq's own REP socket each of the latter can cost somebody else a reply.
TEST_F(ServerUnderAttack, ByMessagesThatAreNoRequests)
{
    std::deque<Raw> peers;
    const std::string part("\0\7garbage", 9);
    const std::string labels =
        std::string("\1\1x\1\1x\1\1x\1\1x\1\1x\1\1x\1\1x\1\1x\1\1x\1\1x\1\0\0\1x", 35); // too many
    for (int i = 0; i < 10'000; i++) {
        const Raw gone;
        gone.shake_hands();
        gone.say(i % 2 == 0 ? part : labels);
        if (i % 100 == 0) {
            peers.emplace_back().shake_hands();
            peers.back().say(part);
        }
        if (i == 5000) {
            answer("/sbin/ip", 0, 20); // from now on each request takes time, in which garbage waits
        }
    }
}

// 200 clients that read no reply send as much as they can while a tool runs.
TEST_F(ServerUnderAttack, ByFloods)
{
    answer("/sbin/ip", 0, 1500);
    EXPECT_TRUE(rig::wait_until([] { return fs::exists("/rig/calls"); }));
    std::vector<zsock_t *> peers;
    const std::string long_text(RD_MAX_MESSAGE, 'x');
    for (int i = 0; i < 200; i++) {
        zsock_t *const peer = zsock_new_dealer(">" RD_ENDPOINT);
        zsock_set_linger(peer, 0);
        peers.push_back(peer);
        for (int k = 0; k < 16; k++) {
            zstr_sendm(peer, "");
            zstr_sendm(peer, "a part");
            zstr_send(peer, long_text.c_str());
        }
    }
    fs::remove("/rig/answers");
    EXPECT_TRUE(wait_for_message("refused a message of several parts"));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // whose own memory this would be
    const std::string status = rig::read_file("/proc/" + std::to_string(daemon_.pid()) + "/status");
    EXPECT_LT(std::stoul(status.substr(status.find("VmRSS:") + 6)), 64 * 1024) << "KiB";
#endif
    for (zsock_t *peer : peers) {
        zsock_destroy(&peer);
    }
}

// The library ends the process when there is no descriptor for a connection. Who comes in time is served, also later.
TEST_F(ServerUnderAttack, ByThousandsOfConnections)
{
    const rlimit many{4096, 4096};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &many), 0);
    {
        std::deque<Raw> hog(3000);
        EXPECT_EQ(first_.request("LINK ifname=eth1"), 0);
        EXPECT_LE(rig::open_descriptors(daemon_.pid()), 256U);
    }
    // Even where the limit is lower than that.
    ASSERT_TRUE(rig::wait_until([this] { return answered_ > 0; })); // whose connection is there
    rlimit before{};
    ASSERT_EQ(prlimit(daemon_.pid(), RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit few{rig::open_descriptors(daemon_.pid()) + 1, before.rlim_max};
    ASSERT_EQ(prlimit(daemon_.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    {
        const std::deque<Raw> hog(20);
        EXPECT_TRUE(rig::wait_until([this, now = answered_.load()] { return answered_ > now + 3; }));
    }
    ASSERT_EQ(prlimit(daemon_.pid(), RLIMIT_NOFILE, &before, nullptr), 0);
}
