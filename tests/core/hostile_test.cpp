// What peers may do to the socket that the group can reach, while a client that keeps to the protocol is served.

#include "rig/rig.h"

#include <deque>
#include <random>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using rig::Client;
using rig::Daemon;

// How every ZMTP connection begins (RFC 23): the greeting, with the mechanism NULL, and the command READY of a REQ socket.
static const std::string kHandshake = std::string("\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL", 16) + std::string(48, '\0') +
                                      std::string("\4\x19\5READY\xbSocket-Type\0\0\0\3REQ", 27);

// A connection without a ZeroMQ of its own.
class Raw
{
  public:
    explicit Raw(const std::string &bytes) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address{.sun_family = AF_UNIX, .sun_path = RD_SOCKET_PATH};
        EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT); // the daemon may have hung up
    }
    ~Raw() { close(fd_); }
    Raw(const Raw &) = delete;
    Raw &operator=(const Raw &) = delete;

  private:
    int fd_;
};

class ServerUnderAttack : public rig::Controller
{
  protected:
    ~ServerUnderAttack() override
    {
        rig::wait_until([this, before = answered_.load()] { return answered_ > before + 3; });
        bystander_.request_stop();
        bystander_.join();
        EXPECT_GT(answered_, 3);
        EXPECT_LT(slowest_, 5000) << "ms, of " << answered_ << " requests";
        EXPECT_TRUE(rig::wait_until([this] { return rig::open_descriptors(daemon_.pid()) <= descriptors_; }));
    }

    // Sends one request after another. Each must be answered.
    void stand_by(const std::stop_token &stop)
    {
        const RequestFrame request{.header = {RD_CMD_LINK, 0, 42}, .payload = ""};
        auto client = std::make_unique<Client>();
        for (; !stop.stop_requested(); answered_++) {
            const int64_t start = zclock_mono();
            zframe_t *reply = nullptr;
            // A REP socket of libzmq 4.3.4 can lose a reply to somebody else after garbage from a peer that has gone:
            // then it is for the client to give up waiting and to send again, on a new socket.
            for (int tries = 0; reply == nullptr && tries < 4; tries++) {
                if (tries > 0) {
                    client = std::make_unique<Client>();
                    resent_++;
                }
                zsock_set_rcvtimeo(client->socket(), 1200);
                zframe_t *frame = zframe_new(&request, sizeof request);
                zframe_send(&frame, client->socket(), 0);
                reply = zframe_recv(client->socket());
            }
            EXPECT_TRUE(reply != nullptr && zframe_size(reply) == sizeof(ReplyFrame));
            zframe_destroy(&reply);
            slowest_ = std::max(slowest_, zclock_mono() - start);
        }
    }

    Daemon daemon_;
    Client first_; // CZMQ sets itself up with the first socket, which two threads must not make at once
    const int served_ = first_.request("LINK ifname=eth1");
    const size_t descriptors_ = rig::open_descriptors(daemon_.pid());
    std::atomic<int> answered_ = 0, resent_ = 0;
    int64_t slowest_ = 0;
    std::jthread bystander_{[this](const std::stop_token &stop) { stand_by(stop); }};
};

TEST_F(ServerUnderAttack, ByHalfHandshakes)
{
    std::deque<Raw> peers;
    for (size_t size = 0; size <= kHandshake.size(); size++) {
        peers.emplace_back(kHandshake.substr(0, size));
        const Raw gone(kHandshake.substr(0, size));
    }
    zclock_sleep(300);
    EXPECT_EQ(resent_, 0) << "none of this is a message";
}

TEST_F(ServerUnderAttack, ByFramesThatLie)
{
    std::minstd_rand random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    for (unsigned round = 0; round < 200; round++) {
        std::string frames(1, static_cast<char>(round % 8)); // flags: more, long, command
        for (size_t i = random() % 40; i > 0; i--) {
            frames += static_cast<char>(round % 3 == 0 ? 0xff : random() % 256); // lengths of up to 2^64-1 bytes
        }
        const Raw peer(round % 5 == 0 ? frames : kHandshake + frames);
    }
}

// 200 clients at once that read no reply: some send too much, some many parts, one more than replies can wait.
TEST_F(ServerUnderAttack, ByFloods)
{
    std::vector<zsock_t *> peers;
    const std::string long_text(100'000, 'x');
    for (int i = 0; i < 200; i++) {
        peers.push_back(zsock_new_dealer(">" RD_ENDPOINT));
        for (int k = 0; k < (i == 0 ? 4000 : 40); k++) {
            zstr_sendm(peers.back(), "");
            for (int part = 0; i % 4 == 1 && part < 20; part++) {
                zstr_sendm(peers.back(), "a part");
            }
            zstr_send(peers.back(), i % 4 == 2 ? long_text.c_str() : "some bytes that are no command");
        }
    }
    EXPECT_TRUE(wait_for_message("refused a message of several parts"));
    for (zsock_t *peer : peers) {
        zsock_destroy(&peer);
    }
}
