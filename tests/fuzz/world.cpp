#include "world.h"

#include "fields.h"
#include "mdns/scripted_avahi.h"
#include "rig/tools.h"

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <ctime>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using world::broken;
using world::choose;

static constexpr const char *kErrorLog = "/run/q7net/q7neterrs";

// What is read but never written.
static constexpr const char *kRead[] = {
    "/run/@(q7net/serverconfigagent|dhclientslbc|udhcpd_usbpt).pid",
    "/etc/lldpd.d/q7*.packet",
    "/proc/+([0-9])/cmdline",
    "/sys/class/net/*/operstate",
    "/sys/kernel/config/usb_gadget/usbpt/functions/@(ecm|rndis).0/ifname",
};
// The one path that is cut on purpose: such a setting reads as absent.
static constexpr const char *kCutSetting = "/proc/sys/net/ipv6/conf/*/*";
static constexpr size_t kCutLength = 49;

// What a file may hold when not all goes well.
static constexpr const char *kOtherTexts[] = {
    "",       "\n",       "0\n",          "1\n",  "-1\n",
    "down\n", "no digit", "4294967298\n", "4711", "0123456789012345678901234567890123456789"};

// Texts of requests that become words of tools without having been looked at by a validator.
static constexpr struct {
    uint32_t cmd;
    const char *fields;
} kUnchecked[] = {
    {RD_CMD_AUTOCONFIG, " autoconf_arg "}, // one word, for the script to understand
    {RD_CMD_FIREWALL, " argument "},       // the same
    // What begins with "none", and a table that begins with "rt2".
    {RD_CMD_BC_IP_RULES, " ifname address netmask gateway dns table "},
    {RD_CMD_USBNIC, " device_mac address "}, // ip judges addresses
    {RD_CMD_MGMT_RECONFIG, " mac "},
    {RD_CMD_SIDEBAND, " macv2_mac macv3_mac "},
    {RD_CMD_STATIC_ADDRS, " ifname address gateway lladdr router prefix "}, // all of them: its refusals are in the log
};

// The end of each text that fills its field without a NUL. Every validator accepts it, and as such a text must be refused or
// cut, nobody may ever see it whole.
static constexpr std::string_view kEnd = "909192939495";

static uint32_t luck_left;
static bool marked;
static rig::Lines unchecked; // texts of the list above, the longest first
static int lowest_descriptor;
static int standard_error; // which children close
static bool running;
static volatile bool *const is_broken = static_cast<volatile bool *>( // also in a child
    mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

void world::broken(const char *format, ...)
{
    running = false;
    *is_broken = true;
    va_list args;
    va_start(args, format);
    dprintf(standard_error, "\nBROKEN PROMISE: ");
    vdprintf(standard_error, format, args);
    dprintf(standard_error, "\n");
    va_end(args);
    abort();
}

unsigned world::choose(unsigned outcomes)
{
    const uint32_t chosen = luck_left % outcomes;
    luck_left /= outcomes;
    return chosen;
}

static int take_lowest_descriptor()
{
    const int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
}

void world::begin(uint32_t luck, RequestFrame *request)
{
    luck_left = luck;
    marked = request != nullptr;
    unchecked.clear();
    for (const Field &field : kFields) {
        if (request == nullptr || field.cmd != request->header.cmd || !field.is_text) {
            continue;
        }
        char *const text = reinterpret_cast<char *>(request) + field.offset;
        if (strnlen(text, field.size) == field.size) {
            std::fill_n(text, field.size, '1');
            kEnd.copy(text + field.size - kEnd.size(), kEnd.size());
        } else if (strstr(text, kEnd.data()) != nullptr) {
            text[0] = '\0';
        }
        for (const auto &[cmd, names] : kUnchecked) {
            if (cmd == field.cmd && strstr(names, (" " + std::string(field.name) + " ").c_str()) != nullptr &&
                text[0] != '\0') {
                unchecked.emplace_back(text, strnlen(text, field.size - 1));
            }
        }
    }
    std::sort(unchecked.begin(), unchecked.end(),
              [](const std::string &one, const std::string &other) { return one.size() > other.size(); });
    lowest_descriptor = take_lowest_descriptor();
    running = true;
}

static void check_text(const std::string &text, const char *where)
{
    if (marked && text.find(kEnd) != std::string::npos) {
        broken("%s: a text runs out of its field in '%s'", where, text.c_str());
    }
}

static void check_line(const std::string &line, const char *where)
{
    const auto is_control = [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; };
    if (!line.ends_with('\n') || std::any_of(line.begin(), line.end() - 1, is_control)) {
        broken("no clean line in %s: '%s'", where, line.c_str());
    }
    check_text(line, where);
}

// What every validator refuses is only in texts that none looked at.
static bool is_checked(std::string word)
{
    for (const std::string &text : unchecked) {
        const size_t at = word.find(text);
        at != std::string::npos ? word.erase(at, text.size()) : word;
    }
    return std::all_of(word.begin(), word.end(),
                       [](char c) { return c >= ' ' && c <= '~' && strchr("&;<>|", c) == nullptr; });
}

void world::end()
{
    running = false;
    while (waitpid(-1, nullptr, WNOHANG) > 0) { // tools that nobody waited for
    }
    if (*is_broken) {
        abort(); // in a child, which has told
    }
    if (take_lowest_descriptor() != lowest_descriptor) {
        broken("a descriptor is left open");
    }
    if (std::FILE *const log = fopen(kErrorLog, "re")) {
        char line[8192];
        while (fgets(line, sizeof line, log) != nullptr) {
            check_line(line, kErrorLog);
        }
        fclose(log);
        truncate(kErrorLog, 0);
    }
}

static std::FILE *open_really(const char *path, const char *mode)
{
    static const auto real = reinterpret_cast<decltype(&fopen64)>(dlsym(RTLD_NEXT, "fopen64"));
    return real(path, mode);
}

// These come before the C library's.
extern "C" {

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's are reserved names
std::FILE *fopen64(const char *path, const char *mode)
{
    if (!running) {
        return open_really(path, mode);
    }
    const auto is_at = [path](const char *pattern) { return fnmatch(pattern, path, FNM_PATHNAME | FNM_EXTMATCH) == 0; };
    const bool reading = mode[0] == 'r';
    const bool good = rig::is_its_file(path) || (reading && std::any_of(std::begin(kRead), std::end(kRead), is_at)) ||
                      (reading && strlen(path) == kCutLength && is_at(kCutSetting));
    if (!good || strstr(path, "/./") != nullptr || strstr(path, "/../") != nullptr) {
        broken("%s is opened for '%s'", path, mode);
    }
    check_text(path, "a path");
    const unsigned other = choose(2 + std::size(kOtherTexts));
    if (other == 1) {
        errno = EMFILE;
        return nullptr;
    }
    return reading && other > 1
               ? fmemopen(const_cast<char *>(kOtherTexts[other - 2]), strlen(kOtherTexts[other - 2]) + 1, "r")
               : open_really(other > 1 ? "/dev/full" : path, mode);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const timespec *until, timespec * /*left*/)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (running && until->tv_sec > now.tv_sec + 10) {
        broken("a sleep of more than ten seconds");
    }
    return 0;
}

int execv(const char *path, char *const argv[])
{
    if (std::find(std::begin(kTools), std::end(kTools), std::string_view(path)) == std::end(kTools) ||
        strcmp(path, argv[0]) != 0) {
        broken("%s is run as %s", path, argv[0]);
    }
    for (size_t i = 0; argv[i] != nullptr; i++) {
        check_text(argv[i], path);
        if (i > 16 || strlen(argv[i]) >= RD_PAYLOAD_SIZE || !is_checked(argv[i])) {
            broken("%s gets a word too many, too long, or that was not checked: '%s'", path, argv[i]);
        }
    }
    const unsigned how = choose(4);
    if (how == 1) {
        return -1; // not executed
    }
    _exit(how == 0 ? 0 : how == 2 ? 1 : 255);
}

ssize_t sendmsg(int /*socket*/, const msghdr *message, int /*flags*/) // to the platform log: header, ident, text
{
    const std::string text(static_cast<const char *>(message->msg_iov[2].iov_base), message->msg_iov[2].iov_len);
    running ? check_line(text, "the platform log") : void();
    return 1;
}

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    const std::string kept = fs::current_path();
    rig::enter(rig::Tools::kRecording, kept.c_str());
    chdir(kept.c_str());
    setenv("TZ", "UTC0", 0); // no look at /etc/localtime for each record
    standard_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    avahi::script = std::make_unique<avahi::Script>();
    // A browse may still wait in it.
    atexit([] { [[maybe_unused]] static auto *const waited_in = avahi::script.release(); });
    for (const char *folder : {"/sys/class/net/bond0/bonding", "/proc/sys/net/ipv4/conf/all", "/etc/lldpd.d",
                               "/sys/kernel/config/usb_gadget/usbpt"}) {
        fs::create_directories(folder);
    }
    for (const char *name : {"default", "eth0", "eth1", "eth2", "eth3", "bond0", "usbpt"}) {
        rig::write_file("/sys/class/net/" + std::string(name) + "/operstate", "up\n");
        for (const char *setting : {"disable_ipv6", "accept_ra", "addr_gen_mode"}) {
            rig::write_file("/proc/sys/net/ipv6/conf/" + std::string(name) + "/" + setting, "0\n");
        }
    }
    rig::write_file("/etc/lldpd.d/q7eth1.packet", std::string(64, 'x'));
    for (const char *function : {"ecm", "rndis"}) {
        rig::write_file("/sys/kernel/config/usb_gadget/usbpt/functions/" + std::string(function) + ".0/ifname",
                        "usb0\n");
    }
    return 0;
}

} // extern "C"
