#include "base/log.h"

#include "base/file.h"
#include "rig/rig.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using rig::Lines;

using Log = rig::Controller;

static void say_all()
{
    RD_ERROR("one %d\n", 1);
    RD_WARN("two\n");
    RD_INFO("\n");
    RD_DEBUG("four\n");
    RD_TRACE("five\n");
}

TEST_F(Log, RecordsNameTheirLineAndTheCallersErrno)
{
    errno = ENODEV;
    RD_INFO("%m\n");
    EXPECT_EQ(errno, ENODEV);
    const std::string line = std::to_string(__LINE__ - 2);
    const std::string record = rig::read_file("/run/q7net/q7neterrs");
    EXPECT_EQ(record.substr(record.find(']')), "] TestBody():" + line + " - No such device\n");
    EXPECT_EQ(log(), Lines{"4 TestBody No such device"});
}

// In a time zone in which today is the fifth.
TEST_F(Log, StampsHaveTwoDigitsOfTheLocalDay)
{
    const time_t now = time(nullptr);
    const uint32_t offset = htonl(static_cast<uint32_t>((5 - gmtime(&now)->tm_mday) * 86'400));
    std::string zone = "TZif" + std::string(40, '\0') + std::string(reinterpret_cast<const char *>(&offset), 4);
    zone[39] = 1; // type of time, of the two counts that are not 0
    zone[43] = 4; // characters of its name
    rig::write_file("/etc/localtime", zone + std::string("\0\0UTC\0", 6));
    RD_INFO("\n");
    EXPECT_EQ(rig::read_file("/run/q7net/q7neterrs").substr(0, 4), "[05-");
    fs::remove("/etc/localtime");
}

// An error log that blocks keeps nothing from the platform log.
TEST_F(Log, ThePlatformLogComesFirst)
{
    const char *const pipe = "/run/q7net/q7neterrs";
    ASSERT_EQ(mkfifo(pipe, 0600), 0);
    std::jthread blocked(say_all);
    EXPECT_TRUE(wait_for_message("2 say_all ERROR - one 1\n"));
    const Descriptor reader(open(pipe, O_RDWR | O_CLOEXEC));
    blocked.join();
}

// What cannot be logged is lost, and nothing else.
TEST_F(Log, LostRecordsHarmNothing)
{
    fs::remove("/run/q7net/dhcp");
    fs::remove("/run/q7net");
    say_all();
    EXPECT_EQ(platform_log.take().size(), 5U);

    fs::create_directory("/run/q7net");
    fs::create_symlink("/dev/full", "/run/q7net/q7neterrs");
    const size_t descriptors = rig::open_descriptors(getpid());
    say_all();
    EXPECT_EQ(platform_log.take().size(), 5U);
    EXPECT_EQ(rig::open_descriptors(getpid()), descriptors);
    fs::remove("/run/q7net/q7neterrs");

    unlink("/dev/log");
    say_all();
    EXPECT_EQ(error_log(), (Lines{"say_all ERROR - one 1", "say_all WARN - two", "say_all "}));
}
