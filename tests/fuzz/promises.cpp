#include "../rig/tools.h"
#include "fields.h"
#include "world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fnmatch.h>
#include <unistd.h>

using world::Place;

static constexpr size_t kMostWords = 16;

// clang-format off
static constexpr Place kPlaces[] = {
    {"/run/q7net/q7neterrs", "a", ""},
    {"/run/q7net/dhcp/vsizt", "w", ""},
    {"/run/q7net/dhcp/ipv4_dad_conflict", "wd", ""},
    {"/run/q7net/dhcp/lease_obtained_ipv4", "d", ""},
    {"/run/q7net/serverconfigagent.pid", "rd", "4711\n"},
    {"/run/dhclientslbc.pid", "rd", "4712\n"},
    {"/run/udhcpd_usbpt.pid", "r", "4713\n"},
    {"/etc/hosts", "w", ""},
    {"/etc/lldpd.d/q7*.packet", "r", "a stored frame, of at least sixty-four bytes, that goes out as it is"},
    {"/proc/+([0-9])/cmdline", "r", "/bin/serverconfigagent"},
    {"/proc/sys/net/ipv4/conf/all/@(arp_ignore|forwarding)", "w", ""},
    {"/proc/sys/net/ipv6/conf/default/stable_secret", "w", ""},
    {"/proc/sys/net/ipv6/conf/*/@(accept_dad|accept_ra_rt_info_max_plen|hop_limit)", "w", ""},
    {"/proc/sys/net/ipv6/conf/*/@(accept_ra|addr_gen_mode|disable_ipv6)", "rw", "0\n"},
    {"/sys/class/net/*/bonding/@(active_slave|all_slaves_active|downdelay|miimon|primary)", "w", ""},
    {"/sys/class/net/*/operstate", "r", "up\n"},
    {"/sys/kernel/config/usb_gadget/usbpt/UDC", "rw", ""}, // what was written to it
    {"/sys/kernel/config/usb_gadget/usbpt/functions/@(ecm|rndis).0/ifname", "r", "usb0\n"},
};
// clang-format on
// The one path that is cut on purpose: such a setting reads as absent.
static constexpr Place kCutSetting = {"/proc/sys/net/ipv6/conf/*/*", "r", "0\n"};
static constexpr size_t kCutLength = 49;

static uint32_t luck_left;
static const RequestFrame *frame;
static int lowest_descriptor;
static bool running;

void world::broken(const char *format, ...)
{
    running = false;
    va_list args;
    va_start(args, format);
    fputs("\nBROKEN PROMISE: ", stderr);
    vfprintf(stderr, format, args);
    fputs("\n", stderr);
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

void world::begin(uint32_t luck, const RequestFrame *request)
{
    setenv("TZ", "UTC0", 0); // no look at /etc/localtime for each record
    luck_left = luck;
    frame = request;
    lowest_descriptor = take_lowest_descriptor();
    running = true;
}

bool world::is_running()
{
    return running;
}

void world::end()
{
    running = false;
    if (take_lowest_descriptor() != lowest_descriptor) {
        broken("a descriptor is left open");
    }
}

void world::check_text(const char *text, const char *use)
{
    const auto *const bytes = reinterpret_cast<const char *>(frame);
    if (frame == nullptr || text < bytes || text >= bytes + sizeof *frame) {
        return;
    }
    const auto at = static_cast<size_t>(text - bytes);
    const auto *const field = std::find_if(std::begin(kFields), std::end(kFields), [at](const Field &candidate) {
        return candidate.cmd == frame->header.cmd && candidate.offset == at && candidate.is_text;
    });
    if (field == std::end(kFields)) {
        broken("%s: offset %zu is no text of command %u", use, at, frame->header.cmd);
    }
    if (memchr(text, '\0', field->size) == nullptr) {
        broken("%s: the text runs out of %s, offset %zu of command %u", use, field->name, at, frame->header.cmd);
    }
}

void world::check_formatted(const char *format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    for (const char *p = strchr(format, '%'); p != nullptr; p = strchr(p + 1, '%')) {
        p += 1 + strspn(p + 1, "0123456789");
        switch (*p) {
        case 's': check_text(va_arg(copy, const char *), format); break;
        case 'd':
        case 'u':
        case 'x': (void)va_arg(copy, int); break;
        case 'l': // of %llu
            p += strlen("ll");
            (void)va_arg(copy, long long);
            break;
        case 'm': break;
        default: broken("a conversion that is not known here: %s", format);
        }
    }
    va_end(copy);
}

void world::check_line(std::string_view line, const char *where)
{
    const auto is_control = [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; };
    if (frame == nullptr && (!line.ends_with('\n') || std::any_of(line.begin(), line.end() - 1, is_control))) {
        broken("no clean line in %s: '%.*s'", where, static_cast<int>(line.size()), line.data());
    }
}

void world::check_words(const char *const argv[])
{
    if (std::find(std::begin(kTools), std::end(kTools), std::string_view(argv[0])) == std::end(kTools)) {
        broken("%s is none of the tools", argv[0]);
    }
    for (size_t i = 0; argv[i] != nullptr; i++) {
        check_text(argv[i], argv[0]);
        if (i >= kMostWords || strlen(argv[i]) >= RD_PAYLOAD_SIZE) {
            broken("%s gets too many words or too long a word", argv[0]);
        }
    }
}

static bool is_at(std::string_view path, const Place &place)
{
    return fnmatch(place.path, path.data(), FNM_PATHNAME | FNM_EXTMATCH) == 0 &&
           path.find("/./") == std::string_view::npos && path.find("/../") == std::string_view::npos;
}

const Place *world::check_place(std::string_view path, char deed)
{
    const auto *const place =
        std::find_if(std::begin(kPlaces), std::end(kPlaces), [path, deed](const Place &candidate) {
            return candidate.deeds.find(deed) != std::string_view::npos && is_at(path, candidate);
        });
    if (place != std::end(kPlaces)) {
        return place;
    }
    if (deed == 'r' && path.size() == kCutLength && is_at(path, kCutSetting)) {
        return &kCutSetting;
    }
    broken("%s: deed '%c' is not allowed there", path.data(), deed);
}
