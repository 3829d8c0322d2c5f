#include "rig/rig.h"
#include "system/names.h"
#include "system/probes.h"

#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

using rig::Lines;

template <typename Record>
static Record named(const std::string &name)
{
    Record record{};
    memcpy(&record, name.data(), name.size());
    return record;
}

class Names : public rig::Controller
{
  protected:
    static int set(int which, const std::string &name)
    {
        const auto request = named<NameRequest>(name);
        return rd_set_netname(which, &request);
    }
    static int hosts(const std::string &name)
    {
        const auto request = named<NameRequest>(name);
        return rd_update_hosts_file(&request);
    }
    static std::string host_and_domain()
    {
        utsname names{};
        uname(&names);
        return std::string(names.nodename) + "." + names.domainname;
    }
};

TEST_F(Names, SetHostAndDomainName)
{
    EXPECT_EQ(set(1, "ctl-01"), 0);
    EXPECT_EQ(set(0, "lab.example"), 0);
    EXPECT_EQ(host_and_domain(), "ctl-01.lab.example");
    EXPECT_EQ(set(1, std::string(64, 'x')), 0);
    EXPECT_EQ(set(1, std::string(65, 'y')), -1) << "the kernel's limit";
    EXPECT_EQ(set(0, std::string(257, 'y')), -1);
    EXPECT_EQ(host_and_domain(), std::string(64, 'x') + ".lab.example");
    EXPECT_EQ(set(1, ""), 0);
    EXPECT_EQ(host_and_domain(), ".lab.example");
    const Lines messages = log();
    EXPECT_EQ(messages[0], "4 rd_set_netname setting hostname:ctl-01 rc=0");
    EXPECT_EQ(messages[1], "4 rd_set_netname setting domainname:lab.example rc=0");
    EXPECT_EQ(messages[3], "4 rd_set_netname setting hostname:" + std::string(65, 'y') + " rc=-1");

    const std::pair<std::string, int> refused[] = {
        {"a b", 12}, {"x;reboot", 12}, {std::string(258, 'x'), 11}, {std::string(1024, 'x'), 11}};
    for (const auto &[name, code] : refused) {
        EXPECT_EQ(set(1, name), code);
        EXPECT_EQ(set(0, name), code);
    }
    EXPECT_EQ(log(), Lines(8, "2 rd_set_netname ERROR - Invalid name"));
    EXPECT_EQ(host_and_domain(), ".lab.example");
}

TEST_F(Names, HostsFileIsRewritten)
{
    const std::string head =
        "# Do not remove the following line, or various programs\n"
        "# that require network functionality will fail.\n127.0.0.1\tlocalhost wpcm450\n127.0.0.1\t";
    for (const std::string &name : {std::string("ctl-01"), std::string(257, 'x'), std::string("$(id)%s")}) {
        EXPECT_EQ(hosts(name), 0);
        EXPECT_EQ(rig::read_file("/etc/hosts"), head + name + "\n");
    }
    const std::string before = rig::read_file("/etc/hosts");
    EXPECT_EQ(hosts(""), 13);
    EXPECT_EQ(hosts("a b"), 12);
    EXPECT_EQ(hosts("a\nb"), 12);
    EXPECT_EQ(hosts(std::string(258, 'x')), 11);
    EXPECT_EQ(rig::read_file("/etc/hosts"), before);
    fs::remove("/etc/hosts");
    fs::create_directory("/etc/hosts");
    EXPECT_EQ(hosts("ctl-01"), 17);
    fs::remove("/etc/hosts");
    fs::create_symlink("/dev/full", "/etc/hosts");
    EXPECT_EQ(hosts("ctl-01"), 0);
    fs::remove("/etc/hosts");
    EXPECT_EQ(
        log(),
        (Lines{"4 rd_update_hosts_file No hostname. nothing to do", "2 rd_update_hosts_file ERROR - Invalid host name",
               "2 rd_update_hosts_file ERROR - Invalid host name", "2 rd_update_hosts_file ERROR - Invalid host name",
               "2 rd_update_hosts_file ERROR - unable to update hosts file Is a directory",
               "2 rd_update_hosts_file ERROR - unable to update hosts file No space left on device"}));
}

class Probes : public rig::Controller
{
  protected:
    static int send_packet(const std::string &ifname)
    {
        const auto request = named<SendPacketRequest>(ifname);
        return rd_send_network_packet(&request);
    }
};

TEST_F(Probes, ArpingRunsBesideTheServer)
{
    const ArpingRequest request{"eth0", "10.0.0.5", "10.0.0.1"};
    answer("/bin/arping", 1, 300);
    const int64_t start = zclock_mono();
    EXPECT_EQ(rd_send_arping(&request), 0);
    EXPECT_LT(zclock_mono() - start, 250);
    int status = 0;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 256);
    EXPECT_EQ(calls(), Lines{"/bin/arping -bUf -c 3 -s 10.0.0.5 -I eth0 10.0.0.1"});
    EXPECT_TRUE(state().find(" others= SigBlk=none SigIgn=none") != std::string::npos) << state();
    EXPECT_EQ(log(), Lines{"4 rd_send_arping sending arping for 10.0.0.5 (gw:10.0.0.1) on eth0"});

    fs::remove("/bin/arping");
    EXPECT_EQ(rd_send_arping(&request), 0);
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 65280);
    fs::create_symlink("/rig/standin", "/bin/arping");
    EXPECT_EQ(log(), (Lines{"4 rd_send_arping sending arping for 10.0.0.5 (gw:10.0.0.1) on eth0",
                            "2 rd_send_arping ERROR - failed to execv rc=-1"}));
}

TEST_F(Probes, ArpingChecksItsFieldsInOrder)
{
    ArpingRequest request{"eth-0", "x", "y"};
    memset(request.address, '1', sizeof request.address);
    EXPECT_EQ(rd_send_arping(&request), 12);
    strcpy(request.ifname, "eth0");
    EXPECT_EQ(rd_send_arping(&request), 11);
    strcpy(request.address, "10.0.0.5");
    EXPECT_EQ(rd_send_arping(&request), 19);
    strcpy(request.gateway, "10.0.0.1111111111");
    EXPECT_EQ(rd_send_arping(&request), 11);
    EXPECT_EQ(log(), (Lines{"2 rd_send_arping ERROR - Invalid mgmt interface name",
                            "2 rd_send_arping ERROR - Invalid IP address",
                            "2 rd_send_arping ERROR - Invalid gateway IP address",
                            "2 rd_send_arping ERROR - Invalid gateway IP address"}));
}

TEST_F(Probes, StoredFrameMustBeThereAndWhole)
{
    EXPECT_EQ(send_packet(""), 10);
    const size_t descriptors = rig::open_descriptors(getpid()); // with the logger's connection
    EXPECT_EQ(send_packet("eth-0"), 12);
    EXPECT_EQ(send_packet("../../etc/passwd"), 12);
    EXPECT_EQ(send_packet("eth0"), 17);
    rig::write_file("/etc/lldpd.d/q7eth0.packet", std::string(63, 'x'));
    EXPECT_EQ(send_packet("eth0"), 17);
    rig::write_file("/etc/lldpd.d/q7eth0.packet", std::string(64, 'x'));
    EXPECT_EQ(send_packet("eth0"), -1);
    EXPECT_EQ(send_packet("lo"), 17);
    rig::write_file("/etc/lldpd.d/q7lo.packet", std::string(64, 'x'));
    EXPECT_EQ(send_packet("lo"), 17) << "lo is down";
    EXPECT_EQ(
        log(),
        (Lines{
            "2 rd_send_network_packet ERROR - missing interface name",
            "2 rd_send_network_packet ERROR - Invalid interface name. rc=12",
            "2 rd_send_network_packet ERROR - Invalid interface name. rc=12",
            "2 rd_send_network_packet ERROR - Fail to open file [No such file or directory] - "
            "/etc/lldpd.d/q7eth0.packet",
            "2 rd_send_network_packet ERROR - Incorrect file size [63]",
            "2 rd_send_network_packet ERROR - Fail to get eth0 interface index [No such device]",
            "2 rd_send_network_packet ERROR - Fail to open file [No such file or directory] - /etc/lldpd.d/q7lo.packet",
            "2 rd_send_network_packet ERROR - Fail to send message to lo interface [Network is down]"}));
    EXPECT_EQ(rig::open_descriptors(getpid()), descriptors);
    fs::remove_all("/etc/lldpd.d");
}
