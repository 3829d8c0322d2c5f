#include "base/log.h"

#include "rig/rig.h"

#include <unistd.h>

using rig::Lines;

class Log : public rig::Controller
{
};

static void say_all()
{
    RD_ERROR("one %d\n", 1);
    RD_WARN("two\n");
    RD_INFO("\n");
    RD_DEBUG("four\n");
    RD_TRACE("five\n");
}

TEST_F(Log, EachLevelHasItsSeverityAndItsLogs)
{
    say_all();
    EXPECT_EQ(log(), (Lines{"2 say_all ERROR - one 1", "3 say_all WARN - two", "4 say_all ", "5 say_all four",
                            "6 say_all five"}));
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
    const int64_t start = zclock_mono();
    say_all();
    EXPECT_LT(zclock_mono() - start, 1000);
    EXPECT_EQ(error_log(), (Lines{"say_all ERROR - one 1", "say_all WARN - two", "say_all "}));
}
