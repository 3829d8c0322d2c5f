// Stored frames, of all lengths, as they arrive at the far end of a cable.

#include "e2e/shell.h"
#include "rig/rig.h"

#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <unistd.h>

// Receives on an interface, as the machine at the far end of the cable.
class Receiver
{
  public:
    explicit Receiver(const char *ifname) : socket_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL)))
    {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_ALL);
        address.sll_ifindex = static_cast<int>(if_nametoindex(ifname));
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        const timeval limit{5, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Receiver() { close(socket_); }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    std::string next(uint16_t ethertype) // "" when none comes
    {
        char frame[2048];
        ssize_t size = 0;
        while ((size = recv(socket_, frame, sizeof frame, 0)) > 0) {
            uint16_t type = 0;
            memcpy(&type, frame + 12, sizeof type);
            if (type == htons(ethertype)) {
                return {frame, static_cast<size_t>(size)};
            }
        }
        return "";
    }

  private:
    int socket_;
};

class RealPacket : public rig::Controller
{
};

TEST_F(RealPacket, StoredFrameLeavesByteForByte)
{
    // The MTU of 1500 lets no untagged frame of 1522 bytes pass.
    shell("ip link add eth2 mtu 2000 type veth peer name far mtu 2000; ip link set far up; ip link set eth2 up");
    rig::Daemon daemon;
    rig::Client client;
    Receiver far("far");
    client.request("SEND_PACKET"); // opens the logger's connection
    const size_t descriptors = rig::open_descriptors(daemon.pid());
    for (const size_t size : {64U, 1000U, 1522U, 2000U}) {
        std::string frame("\x01\x80\xc2\x00\x00\x0e\x02\x00\x00\x00\x00\x01\x88\xcc", 14);
        for (size_t i = frame.size(); i < size; i++) {
            frame.push_back(static_cast<char>(i * 7));
        }
        rig::write_file("/etc/lldpd.d/q7eth2.packet", frame);
        const std::string sent = frame.substr(0, 1522);
        EXPECT_EQ(client.request("SEND_PACKET ifname=eth2"), static_cast<int>(sent.size()));
        EXPECT_TRUE(far.next(0x88cc) == sent) << size;
    }
    EXPECT_EQ(rig::open_descriptors(daemon.pid()), descriptors);
}
