#include "base/validate.h"

#include "base/text.h"

#include <array>
#include <string_view>

enum Class : uint8_t {
    kMac = 1 << 0,
    kIfname = 1 << 1,
    kWords = 1 << 2,
    kShellArg = 1 << 3,
    kIpv4 = 1 << 4,
};

// The classes of each byte. A table of our own, since <cctype> is undefined for a negative char and bends to the
// locale.
static constexpr std::array<uint8_t, 256> kClasses = [] {
    std::array<uint8_t, 256> classes{};
    const auto add = [&classes](std::string_view characters, unsigned cls) {
        for (const char c : characters) {
            classes[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(cls);
        }
    };
    add("0123456789", kMac | kIfname | kWords | kIpv4);
    add("abcdefABCDEF:", kMac);
    add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", kIfname | kWords);
    add(".", kIfname | kWords | kIpv4);
    add(" ", kWords);
    for (size_t c = '!'; c <= '~'; c++) {
        if (std::string_view("&;<>|").find(static_cast<char>(c)) == std::string_view::npos) {
            classes[c] |= kShellArg;
        }
    }
    return classes;
}();

static int check(const char *text, Class accepted, size_t shortest, size_t longest)
{
    if (text == nullptr) {
        return RD_RC_ABSENT;
    }
    const std::string_view characters(text);
    if (characters.size() > longest) {
        return RD_RC_TOO_LONG;
    }
    if (characters.size() < shortest) {
        return RD_RC_TOO_SHORT;
    }
    for (const char c : characters) {
        if ((kClasses[static_cast<unsigned char>(c)] & accepted) == 0) {
            return RD_RC_INVALID;
        }
    }
    return RD_RC_OK;
}

int rd_validate_mac(const char *text)
{
    return check(text, kMac, 0, 18);
}

int rd_validate_ifname(const char *text)
{
    return check(text, kIfname, 0, 128);
}

int rd_validate_words(const char *text)
{
    return check(text, kWords, 0, 128);
}

int rd_validate_shell_arg(const char *text)
{
    return check(text, kShellArg, 0, 257);
}

int rd_validate_ipv4(const char *text)
{
    return check(text, kIpv4, 7, 16);
}

int rd_refuse(int code, const char *complaint, const char *function, int line)
{
    char number[12] = "";
    if (complaint[strlen(complaint) - 1] == '=') {
        rd_format(number, "%d", code);
    }
    RD_LOG_BOTH(function, line, 2, "ERROR - %s%s\n", complaint, number);
    return code;
}

const char *rd_path_name(const char *name)
{
    const std::string_view text(name);
    const bool leads_out = text.find('/') != std::string_view::npos || text == "." || text == "..";
    return leads_out ? "(no interface name)" : name; // longer than any
}
