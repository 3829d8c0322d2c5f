#include "world.h"

#include "base/file.h"
#include "fields.h"
#include "mdns/scripted_avahi.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <fstream>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
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
static constexpr const char *kCutSetting[] = {"/proc/sys/net/ipv6/conf/*/*"};
static constexpr size_t kCutLength = 49;

// What a file may hold when not all goes well.
static constexpr const char *kOtherTexts[] = {
    "",       "\n",       "0\n",          "1\n",  "-1\n",
    "down\n", "no digit", "4294967298\n", "4711", "0123456789012345678901234567890123456789"};

// Texts of requests that become words of tools without having been looked at by a validator.
static constexpr const char *kUnchecked[] = {
    "AUTOCONFIG autoconf_arg", // one word, for the script to understand
    "FIREWALL argument",       // the same
    // What begins with "none", and a table that begins with "rt2".
    "BC_IP_RULES @(ifname|address|netmask|gateway|dns|table)",
    "USBNIC @(device_mac|address)", // ip judges addresses
    "@(MGMT_RECONFIG mac|SIDEBAND macv[23]_mac)",
    "STATIC_ADDRS @(ifname|address|gateway|lladdr|router|prefix)", // all of them: its refusals are in the log
};

// The end of each text that fills its field without a NUL. Every validator accepts it, and as such a text must be refused or
// cut, nobody may ever see it whole.
static constexpr std::string_view kEnd = "909192939495";

static uint32_t luck_left;
static bool marked;
static int lowest_descriptor;
static pid_t fuzzer;
static int standard_error; // which children close
static bool running;

void world::broken(const std::string &how)
{
    running = false;
    dprintf(standard_error, "\nBROKEN PROMISE: %s\n", how.c_str());
    kill(fuzzer, SIGABRT); // from a child, too
    _exit(1);
}

unsigned world::choose(unsigned outcomes)
{
    const uint32_t chosen = luck_left % outcomes;
    luck_left /= outcomes;
    return chosen;
}

template <size_t N>
static bool is_any_of(const char *const (&patterns)[N], const std::string &text)
{
    return std::any_of(patterns, patterns + N, [&text](const char *pattern) {
        return fnmatch(pattern, text.c_str(), FNM_PATHNAME | FNM_EXTMATCH) == 0;
    });
}

// Whether every validator refuses it.
static bool is_refused(char c)
{
    return c < ' ' || c > '~' || strchr("&;<>|", c) != nullptr;
}

void world::begin(uint32_t luck, RequestFrame *request)
{
    luck_left = luck;
    marked = request != nullptr;
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
        if (is_any_of(kUnchecked, kCommands[field.cmd] + (" " + std::string(field.name)))) {
            std::replace_if(text, text + strnlen(text, field.size), is_refused, 'x');
        }
    }
    lowest_descriptor = Descriptor(dup(STDERR_FILENO)).get();
    running = true;
}

static void check_text(const std::string &text, const char *where)
{
    if (marked && text.find(kEnd) != std::string::npos) {
        broken(where + std::string(": a text runs out of its field in ") + text);
    }
}

static void check_line(const std::string &line, const char *where)
{
    const auto is_control = [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; };
    if (!line.ends_with('\n') || std::any_of(line.begin(), line.end() - 1, is_control)) {
        broken("no clean line in " + (where + (": " + line)));
    }
    check_text(line, where);
}

void world::end()
{
    running = false;
    while (waitpid(-1, nullptr, WNOHANG) > 0) { // tools that nobody waited for
    }
    if (Descriptor(dup(STDERR_FILENO)).get() != lowest_descriptor) {
        broken("a descriptor is left open");
    }
    std::ifstream log(kErrorLog);
    for (std::string line; std::getline(log, line);) {
        check_line(line + (log.eof() ? "" : "\n"), kErrorLog);
    }
    truncate(kErrorLog, 0);
}

// These come before the C library's.
extern "C" {

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's are reserved names
std::FILE *fopen64(const char *path, const char *mode)
{
    static const auto open_really = reinterpret_cast<decltype(&fopen64)>(dlsym(RTLD_NEXT, "fopen64"));
    if (!running) {
        return open_really(path, mode);
    }
    const bool reading = mode[0] == 'r';
    const bool read_only = is_any_of(kRead, path) || (strlen(path) == kCutLength && is_any_of(kCutSetting, path));
    if (!(rig::is_its_file(path) || (reading && read_only)) || fs::path(path).lexically_normal() != path) {
        broken(path + std::string(" is opened for ") + mode);
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
    if (!fs::is_symlink(path) || strcmp(path, argv[0]) != 0) { // as the rig has made its tools
        broken(path + std::string(" is run as ") + argv[0]);
    }
    for (size_t i = 0; argv[i] != nullptr; i++) {
        check_text(argv[i], path);
        const std::string_view word = argv[i];
        if (i > 16 || word.size() >= RD_PAYLOAD_SIZE || std::any_of(word.begin(), word.end(), is_refused)) {
            broken(path + std::string(" gets a word too many, too long, or that was not checked: ") + argv[i]);
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
    fuzzer = getpid();
    standard_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    avahi::script = std::make_unique<avahi::Script>();
    // A browse may still wait in it.
    atexit([] { [[maybe_unused]] static auto *const waited_in = avahi::script.release(); });
    for (const char *folder : {"/sys/class/net/bond0/bonding", "/proc/sys/net/ipv4/conf/all", "/etc/lldpd.d",
                               "/sys/kernel/config/usb_gadget/usbpt"}) {
        fs::create_directories(folder);
    }
    struct Files : rig::Controller {
        using Controller::interface;
    };
    for (const char *name : {"default", "eth0", "eth1", "eth2", "eth3", "bond0", "usbpt"}) {
        Files::interface(name);
    }
    rig::write_file("/etc/lldpd.d/q7eth0.packet", std::string(64, 'x'));
    for (const char *function : {"ecm", "rndis"}) {
        rig::write_file("/sys/kernel/config/usb_gadget/usbpt/functions/" + std::string(function) + ".0/ifname",
                        "usb0\n");
    }
    return 0;
}

} // extern "C"
