// Stored frames, of all lengths, as they arrive at the far end of a cable.

#include "base/file.h"
#include "rig/rig.h"

#include <arpa/inet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

using RealPacket = rig::Controller;

TEST_F(RealPacket, StoredFrameLeavesByteForByte)
{
    constexpr uint16_t kLldp = 0x88cc;
    // The MTU of 1500 lets no untagged frame of 1522 bytes pass.
    ASSERT_EQ(system("ip link add eth2 mtu 2000 type veth peer name far mtu 2000;" // NOLINT(cert-env33-c)
                     "ip link set far up; ip link set eth2 up"),
              0);
    const Descriptor far(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(kLldp)));
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(kLldp);
    address.sll_ifindex = static_cast<int>(if_nametoindex("far"));
    ASSERT_EQ(bind(far.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    const timeval limit{10, 0};
    setsockopt(far.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);

    rig::Daemon daemon;
    rig::Client client;
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
        char got[2048];
        const ssize_t received = recv(far.get(), got, sizeof got, 0);
        EXPECT_TRUE(received > 0 && sent == std::string(got, static_cast<size_t>(received))) << size;
    }
    EXPECT_EQ(rig::open_descriptors(daemon.pid()), descriptors);
}
