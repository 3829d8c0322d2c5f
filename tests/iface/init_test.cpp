#include "iface/init.h"

#include "rig/rig.h"

using rig::Lines;

static const std::string kConf = "/proc/sys/net/ipv6/conf/";
static const std::string kSecret = kConf + "default/stable_secret";

class Init : public rig::Controller
{
  protected:
    Init()
    {
        for (const char *name :
             {"eth0", "eth1", "eth2", "eth3", "eth0.4003", "eth0.4005", "eth3.4003", "kx0", "default"}) {
            interface(name);
        }
        fs::create_directories("/proc/sys/net/ipv4/conf/all");
    }
    static InitRequest modular(uint32_t is_ngm, uint8_t slot)
    {
        return {.is_modular = 1, .is_ngm = is_ngm, .slot = slot, .macaddress = "x"};
    }
    static std::string off(const std::string &name) { return rig::read_file(kConf + name + "/disable_ipv6"); }
};

TEST_F(Init, PlainSystemGetsArpSecretAndLowersWithoutIpv6)
{
    InitRequest request{.init_eth0 = 1, .init_frded = 9, .secret_seed_a = "ABC123", .secret_seed_b = "XYZ789"};
    EXPECT_EQ(rd_init_interfaces(&request), 0);
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(rig::read_file("/proc/sys/net/ipv4/conf/all/arp_ignore"), "1\n");
    EXPECT_EQ(rig::read_file(kSecret), "4193:85e5:bf68:127e:3b2b:4538:f9d2:22f1\n");
    EXPECT_EQ(off("eth0") + off("eth1") + off("eth2") + off("eth3"), "1\n1\n1\n0\n");
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_init_interfaces is_modular:0 is_ngm:0 slot:0 init_eth0:1 init_frded:9 init_eth3:0",
               "5 rd_ipv6_setting default stable_secret val:4193:85e5:bf68:127e:3b2b:4538:f9d2:22f1 OK",
               "4 rd_configure_ipv6 eth0 enable:0 autoconfig:0", "5 rd_ipv6_setting eth0 disable_ipv6 val:1 OK",
               "4 rd_configure_ipv6 eth1 enable:0 autoconfig:0", "5 rd_ipv6_setting eth1 disable_ipv6 val:1 OK",
               "4 rd_configure_ipv6 eth2 enable:0 autoconfig:0", "5 rd_ipv6_setting eth2 disable_ipv6 val:1 OK"}));
}

TEST_F(Init, SecretDependsOnTheFirst27CharactersOfBothSeeds)
{
    InitRequest request{};
    memset(request.secret_seed_a, '1', sizeof request.secret_seed_a); // cut to 17
    memset(request.secret_seed_b, '1', sizeof request.secret_seed_b);
    rd_init_interfaces(&request);
    const std::string secret = rig::read_file(kSecret);
    EXPECT_EQ(secret, "8749:00e1:4632:0205:cfde:140e:08cd:c597\n");
    request.secret_seed_b[9] = 'x'; // the 28th
    rd_init_interfaces(&request);
    EXPECT_EQ(rig::read_file(kSecret), secret);
    request.secret_seed_b[8] = 'x'; // the 27th
    rd_init_interfaces(&request);
    EXPECT_NE(rig::read_file(kSecret), secret);
}

TEST_F(Init, ModularSystemGetsItsSlotAddress)
{
    InitRequest request = modular(0, 254);
    request.init_eth3 = 1;
    EXPECT_EQ(rd_init_interfaces(&request), 0);
    EXPECT_EQ(calls(),
              (Lines{"/sbin/ip link set dev eth3 up", "/sbin/ip link add link eth3 name eth3.4003 type vlan id 4003",
                     "/sbin/ip link set dev eth3.4003 up",
                     "/sbin/ip addr add 169.254.31.254/24 dev eth3.4003 valid_lft forever preferred_lft forever "
                     "broadcast 169.254.31.255"}));
    EXPECT_EQ(off("eth3") + off("eth3.4003"), "1\n1\n");
    EXPECT_EQ(log_of("rd_init_interfaces"),
              (Lines{"4 is_modular:1 is_ngm:0 slot:254 init_eth0:0 init_frded:0 init_eth3:1", "4 set eth3 up rc=0"}));

    answer("/sbin/ip link add", 2);
    answer("/sbin/ip addr add", 3);
    EXPECT_EQ(rd_init_interfaces(&request), 768);
    EXPECT_EQ(log_of("rd_init_interfaces"),
              (Lines{"4 is_modular:1 is_ngm:0 slot:254 init_eth0:0 init_frded:0 init_eth3:1", "4 set eth3 up rc=0",
                     "2 ERROR - adding vlan 4003 rc=512",
                     "2 ERROR - Failed to add static IP 169.254.31.254 on eth3.4003 rc=768"}));
}

TEST_F(Init, NgmSystemGetsTwoVlansWithIpv6)
{
    InitRequest request = modular(1, 0);
    EXPECT_EQ(rd_init_interfaces(&request), 0);
    EXPECT_EQ(
        calls(),
        (Lines{"/sbin/ip link set dev eth0 up", "/sbin/ip link add link eth0 name eth0.4003 type vlan id 4003",
               "/sbin/ip link set dev eth0.4003 up", "/sbin/ip link add link eth0 name eth0.4005 type vlan id 4005",
               "/sbin/ip link set dev eth0.4005 up"}));
    EXPECT_EQ(ipv6("eth0.4003") + ipv6("eth0.4005"), "010010");
    EXPECT_EQ(log_of("rd_wait_for_iface_ready"), Lines{"4 eth0 is up now"});
    answer("/sbin/ip link add link eth0 name eth0.4005", 2);
    log();
    EXPECT_EQ(rd_init_interfaces(&request), 512);
    EXPECT_EQ(log_of("rd_init_interfaces").back(), "2 ERROR - adding vlan 4005 rc=512");
}

TEST_F(Init, MissingIdentityEndsAfterTheInternalLinkIsUp)
{
    struct {
        InitRequest request;
        std::string message;
    } cases[] = {{modular(0, 0), "missing slot_number"},
                 {modular(0, 255), "missing slot_number"},
                 {modular(0, 0), "missing macaddress"},
                 {modular(1, 3), "missing macaddress"}};
    cases[2].request.macaddress[0] = cases[3].request.macaddress[0] = '\0';
    for (auto &c : cases) {
        c.request.init_kx = 1;
        EXPECT_EQ(rd_init_interfaces(&c.request), 13);
        EXPECT_EQ(log_of("rd_init_interfaces").back(), "2 ERROR - " + c.message);
        EXPECT_EQ(calls().size(), 1U) << "the internal link, and nothing of KX";
    }
}

TEST_F(Init, KxInterfaceGetsItsAddressAndDhcpClient)
{
    fs::remove_all("/proc/sys/net/ipv4");
    InitRequest request{.init_kx = 1, .kx_mac = "02:00:00:00:00:0f", .kx_ifname = "kx0"};
    answer("/sbin/ip link set dev kx0 address", 2);
    answer("/sbin/dhclient", 1);
    EXPECT_EQ(rd_init_interfaces(&request), 0);
    EXPECT_EQ(calls(), (Lines{"/sbin/ip link set dev kx0 down", "/sbin/ip link set dev kx0 address 02:00:00:00:00:0f",
                              "/sbin/ip link set dev kx0 up",
                              "/sbin/dhclient -4 -nw -cf /etc/systemd/network/dhkxmgmt.conf -lf "
                              "/var/lib/dhcp/dhclientkx.leases -pf /var/run/dhclientkx.pid"}));
    Lines messages = log();
    EXPECT_EQ(messages[1], "2 rd_init_interfaces ERROR - failed to open arp_ignore file No such file or directory");
    std::erase_if(messages, [](const std::string &m) {
        return m.find("kx") == std::string::npos || m.find("rd_link") != std::string::npos;
    });
    EXPECT_EQ(messages, (Lines{"4 rd_init_kxmgmt_iface init KX mgmt iface kx0 [02:00:00:00:00:0f]",
                               "4 rd_init_kxmgmt_iface set kx0 down rc=0",
                               "2 rd_init_kxmgmt_iface ERROR - failed to set kx0 mac 02:00:00:00:00:0f rc=512",
                               "4 rd_init_kxmgmt_iface set kx0 up rc=0", "4 rd_wait_for_iface_ready kx0 is up now",
                               "2 rd_kx_dhcp_ctrl ERROR - failed to start kx dhcp client"}));
    request.is_modular = request.is_ngm = 1;
    request.macaddress[0] = 'x';
    rd_init_interfaces(&request);
    EXPECT_EQ(calls().size(), 9U) << "on a modular system after its VLANs";
}

TEST_F(Init, BadKxConfigurationIsLeftAlone)
{
    struct {
        const char *mac;
        const char *ifname;
        std::string message;
    } const cases[] = {{"", "kx0", "invalid KX management interface config"},
                       {"02:00:00:00:00:0f", "", "invalid KX management interface config"},
                       {"aa-bb-cc-dd-ee-ff", "kx0", "invalid mac/interface"},
                       {"02:00:00:00:00:0f", "kx-0", "invalid mac/interface"},
                       {"02:00:00:00:00:0f", "abcdefgh12345678", "invalid mac/interface"}}; // no NUL before the seed
    for (const auto &c : cases) {
        InitRequest request{.init_kx = 1};
        strcpy(request.kx_mac, c.mac);
        memcpy(request.kx_ifname, c.ifname, strlen(c.ifname));
        EXPECT_EQ(rd_init_interfaces(&request), 0);
        EXPECT_EQ(log_of("rd_init_kxmgmt_iface"), Lines{"2 ERROR - " + c.message});
    }
    EXPECT_EQ(calls(), Lines{});
}
