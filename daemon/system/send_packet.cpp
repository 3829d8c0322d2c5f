#include "system/commands.h"

#include "base/file.h"
#include "base/text.h"
#include "base/validate.h"

#include <array>

#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

static constexpr size_t kShortestFrame = 64;
static constexpr size_t kLongestFrame = 1522; // with a VLAN tag and the checksum
static constexpr int kPacketProtocol = 255;   // no EtherType in use: the socket sends and does not receive
static constexpr unsigned char kMacLength = 6;

int rd_send_network_packet(const SendPacketRequest *request)
{
    const char *const ifname = request->ifname;
    if (ifname[0] == '\0') {
        return rd_refuse(RD_RC_NO_NAME, "missing interface name");
    }
    if (const int refused = rd_check(rd_validate_ifname, request->ifname, "Invalid interface name. rc=")) {
        return refused;
    }

    char path[256];
    rd_format(path, "/etc/lldpd.d/q7%s.packet", ifname);
    File file(fopen(path, "re"));
    if (file == nullptr) {
        RD_ERROR("Fail to open file [%m] - %s\n", path);
        return RD_RC_NO_RESOURCE;
    }
    std::array<unsigned char, kLongestFrame> frame{};
    const size_t size = fread(frame.data(), 1, frame.size(), file.get());
    file.reset();
    if (size < kShortestFrame) {
        RD_ERROR("Incorrect file size [%d]\n", static_cast<int>(size));
        return RD_RC_NO_RESOURCE;
    }

    const Descriptor packet_socket(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, kPacketProtocol));
    if (packet_socket.get() < 0) {
        RD_ERROR("Fail to open socket [%m]\n");
        return RD_RC_NO_RESOURCE;
    }
    ifreq interface {
    };
    rd_format(interface.ifr_name, "%s", ifname);
    const int rc = ioctl(packet_socket.get(), SIOCGIFINDEX, &interface);
    if (rc < 0) {
        RD_ERROR("Fail to get %s interface index [%m]\n", ifname);
        return rc;
    }
    sockaddr_ll destination{};
    destination.sll_ifindex = interface.ifr_ifindex;
    destination.sll_halen = kMacLength;
    memcpy(destination.sll_addr, frame.data(), kMacLength); // the frame begins with it
    const ssize_t sent = sendto(packet_socket.get(), frame.data(), size, 0, reinterpret_cast<sockaddr *>(&destination),
                                sizeof destination);
    if (sent < 0) {
        RD_ERROR("Fail to send message to %s interface [%m]\n", ifname);
        return RD_RC_NO_RESOURCE;
    }
    return static_cast<int>(sent);
}
