#include "base/validate.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

struct Case {
    std::string text;
    int code;
};

static void expect_codes(int (*validate)(const char *), const std::vector<Case> &cases)
{
    for (const Case &c : cases) {
        EXPECT_EQ(validate(c.text.c_str()), c.code) << "'" << c.text << "'";
    }
}

static std::string ones(size_t count)
{
    return std::string(count, '1'); // every validator accepts the character
}

TEST(Validate, Mac)
{
    expect_codes(rd_validate_mac, {{"aa:bb:cc:dd:ee:ff", 0},
                                   {"0123456789aAbBfF:", 0},
                                   {"0:1", 0},
                                   {"", 0},
                                   {"AA-BB-CC-DD-EE-FF", 12},
                                   {"g", 12},
                                   {"G", 12},
                                   {ones(18), 0},
                                   {ones(18) + "-", 11}});
}

TEST(Validate, Ifname)
{
    expect_codes(rd_validate_ifname, {{"eth0.4003", 0},
                                      {"AZaz09.", 0},
                                      {"", 0},
                                      {"eth0-1", 12},
                                      {"eth_1", 12},
                                      {"bond 0", 12},
                                      {"\xe9th0", 12},
                                      {"eth0\n", 12},
                                      {"eth0/", 12},
                                      {ones(128), 0},
                                      {ones(129), 11}});
}

TEST(Validate, Words)
{
    expect_codes(rd_validate_words,
                 {{"100 full", 0}, {"auto-neg", 12}, {"a\tb", 12}, {"", 0}, {ones(128), 0}, {ones(129), 11}});
}

TEST(Validate, ShellArg)
{
    expect_codes(rd_validate_shell_arg, {{"host-01.lab", 0},
                                         {"$(id)", 0},
                                         {"!\"#%'*/:=?@[\\]^_`{}~", 0},
                                         {"a b", 12},
                                         {"x;reboot", 12},
                                         {"a|b", 12},
                                         {"a&b", 12},
                                         {"a<b", 12},
                                         {"a>b", 12},
                                         {"\x1f", 12},
                                         {"\x7f", 12},
                                         {"\x80", 12},
                                         {"\xff", 12},
                                         {"", 0},
                                         {ones(257), 0},
                                         {ones(258), 11}});
}

TEST(Validate, Ipv4)
{
    expect_codes(rd_validate_ipv4, {{"10.0.0.1", 0},
                                    {"999.999.999.999", 0},
                                    {"1.2.3", 19},
                                    {"", 19},
                                    {"x", 19},
                                    {ones(6), 19},
                                    {ones(7), 0},
                                    {ones(16), 0},
                                    {"255.255.255.255.1", 11},
                                    {"10.0.0.x", 12},
                                    {"10.0.0.1 ", 12}});
}

TEST(Validate, NullTextIsAbsent)
{
    for (const auto validate : {rd_validate_ifname, rd_validate_words, rd_validate_shell_arg, rd_validate_ipv4}) {
        EXPECT_EQ(validate(nullptr), 13);
    }
}

TEST(Validate, FieldWithoutNulIsTooLongWhateverFollows)
{
    struct {
        char field[4];
        char next[4];
    } record = {{'e', 't', 'h', '0'}, ""};
    EXPECT_EQ(rd_validate_field(rd_validate_ifname, record.field), 11);
    record.field[3] = '\0';
    EXPECT_EQ(rd_validate_field(rd_validate_ifname, record.field), 0);
    record.field[2] = '-';
    EXPECT_EQ(rd_validate_field(rd_validate_ifname, record.field), 12);
}
