// What a result code says. This is the one place that knows what each command answers: the codes are shared, the daemon's
// own, the wait status of the tool that was run last, or both; and 0 may prove that it was done, or nothing.

#include <q7net/client.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <sys/wait.h>

namespace
{

struct Meaning {
    int rc;
    const char *text;
};

struct Command {
    const char *tool = nullptr;     // whose wait status the reply carries
    const char *unproven = nullptr; // what 0 says, where it does not say that it was done
    Meaning own[3] = {};            // codes that mean something else than usual, or that only some commands have
};

// What any command may answer: texts are checked by all.
constexpr Meaning kTexts[] = {
    {RD_RC_NO_NAME, "a required name is missing"},
    {RD_RC_TOO_LONG, "a text is longer than allowed"},
    {RD_RC_INVALID, "a text holds a character that is not allowed, or a selector is invalid"},
    {RD_RC_ABSENT, "a required argument is absent"},
    {RD_RC_TOO_SHORT, "an IPv4 address is shorter than 7 characters"},
    {RD_RC_NO_CHILD, "a child process or a system call failed"},
};

constexpr Meaning kBadIfname = {RD_RC_INVALID, "interface name holds a character that is not allowed"};
constexpr Meaning kRange = {RD_RC_OUT_OF_RANGE, "a number is out of its range"};
constexpr Meaning kLongName = {RD_RC_TOO_LONG, "name is longer than 257 characters"};
constexpr Meaning kBadName = {RD_RC_INVALID, "name holds a character that is not allowed"};
constexpr Meaning kKernel = {RD_RC_NO_CHILD, "the kernel did not take the name, which it limits to 64 characters"};
constexpr Meaning kNoFrame = {RD_RC_NO_RESOURCE,
                              "no frame of 64 to 1522 bytes is stored for it, or it could not be sent"};
constexpr const char *kSteps = "the error log tells how each step ended"; // the reply carries the last one's
constexpr const char *kStarted = "it was started; nobody waits for it";

Command usbnic(const UsbnicRequest &request)
{
    const char *const ended_by = request.dhcp_server != 0 ? "udhcpd" : "kill";
    return {
        .tool = request.action == RD_USBNIC_CREATE ? "configfs_gadget_usbpt.sh"
                : request.action == RD_USBNIC_UP   ? ended_by
                                                   : "ip",
        .unproven = kSteps,
        .own = {{RD_RC_FAILED, "no DHCP server is running that could be stopped; the error log tells of the rest"}}};
}

Command service(const RequestFrame &request)
{
    const bool kx_dhclient = request.service.service == RD_SERVICE_KX_DHCLIENT;
    const bool waits = request.header.wait == 1 || (kx_dhclient && request.service.action == RD_SERVICE_STOP);
    return {.tool = kx_dhclient ? "dhclient" : "systemctl",
            .unproven = waits ? nullptr : "it was started; --wait tells how it ends"};
}

Command firewall(const FirewallRequest &request)
{
    const bool script = request.ruleset != RD_RULESET_USB_NAT;
    return {.tool = "iptables",
            .unproven = script ? "the error log tells how the firewall script ended"
                               : "the error log tells whether forwarding was switched",
            .own = {kBadIfname, kRange, {RD_RC_FAILED, "no such rule set"}}};
}

Command dhcp_release(const DhcpReleaseRequest &request)
{
    const bool both = request.dhcp4 != 0 && request.dhcp6 != 0;
    return {.tool = both ? "dhclient, the statuses of its two runs combined," : "dhclient"};
}

Command command_of(const RequestFrame &request)
{
    if (request.header.cmd == 0 || request.header.cmd > RD_CMD_COUNT) {
        return {.own = {{RD_RC_OUT_OF_RANGE, "there is no such command"}}};
    }
    switch (static_cast<CommandCode>(request.header.cmd)) { // without a default: the compiler knows of a missing one
    case RD_CMD_AUTOCONFIG:
        return {.unproven = "nobody waits for the script; the error log tells of the agent",
                .own = {{RD_RC_NO_CHILD, "the agent could not be killed, or the script not be started"}}};
    case RD_CMD_USBNIC: return usbnic(request.usbnic);
    case RD_CMD_MGMT_RECONFIG: return {.tool = "ip", .unproven = kSteps};
    case RD_CMD_SERVICE: return service(request);
    case RD_CMD_FIREWALL: return firewall(request.firewall);
    case RD_CMD_CONJOIN:
        return {.tool = "ifenslave",
                .unproven = kSteps,
                .own = {kBadIfname, {RD_RC_NO_RESOURCE, "the bond's settings could not be opened: is it a bond?"}}};
    case RD_CMD_LINK: return {.tool = "ip", .own = {kBadIfname}};
    case RD_CMD_HOSTNAME:
    case RD_CMD_DOMAINNAME: return {.own = {kLongName, kBadName, kKernel}};
    case RD_CMD_ARPING: return {.unproven = kStarted};
    case RD_CMD_BC_IP_RULES: return {.tool = "tendmoor_bc.sh", .own = {kRange}};
    case RD_CMD_VLAN_PRIORITY: return {.tool = "ip", .own = {kBadIfname, kRange}};
    case RD_CMD_SLBC: return {.tool = "iptables", .unproven = kSteps, .own = {kRange}};
    case RD_CMD_SEND_PACKET: return {.own = {kBadIfname, kNoFrame, {RD_RC_NO_CHILD, "no such interface"}}};
    case RD_CMD_HOSTS_FILE:
        return {.unproven = "the error log tells whether all of it could be written",
                .own = {kLongName, kBadName, {RD_RC_NO_RESOURCE, "/etc/hosts could not be opened"}}};
    case RD_CMD_IPV4_DAD:
        return {.tool = "the probe was answered or failed, and ip",
                .unproven = "a conflict, if there was one, is told by /run/q7net/dhcp/ipv4_dad_conflict",
                .own = {kRange}};
    case RD_CMD_RESET_MGMT:
    case RD_CMD_INIT_IFACES:
    case RD_CMD_INIT_FRONTDEDICATED:
    case RD_CMD_INIT_FLOP_USB_NIC:
    case RD_CMD_SIDEBAND:
    case RD_CMD_STATIC_ADDRS: return {.tool = "ip", .unproven = kSteps};
    case RD_CMD_MIF_FLUSH: return {.tool = "ip", .unproven = kSteps, .own = {kBadIfname}};
    case RD_CMD_INIT_SMARTNIC:
    case RD_CMD_LINK_TUNING: return {.tool = "ip", .unproven = kSteps, .own = {kRange}};
    case RD_CMD_DHCP_RELEASE: return dhcp_release(request.dhcp_release);
    case RD_CMD_NGM_DEBUG: return {.tool = "ping", .unproven = "the error log tells what was found", .own = {kRange}};
    case RD_CMD_MDNS_BROWSE:
        return {.unproven = "the error log tells what becomes of the browse",
                .own = {kRange, {RD_RC_FAILED, "out of memory"}, {EAGAIN, "there can be no thread for it"}}};
    case RD_CMD_TERMINATE: break;
    }
    return {};
}

const char *meaning_of(const Command &command, int32_t rc)
{
    const auto is_it = [rc](const Meaning &each) { return each.rc == rc && each.text != nullptr; };
    const Meaning *found = std::find_if(std::begin(command.own), std::end(command.own), is_it);
    if (found == std::end(command.own)) {
        found = std::find_if(std::begin(kTexts), std::end(kTexts), is_it);
        return found == std::end(kTexts) ? nullptr : found->text;
    }
    return found->text;
}

// A wait status, as waitpid(2) stores it.
void write_wait_status(const char *tool, int32_t status, char *text, size_t size)
{
    constexpr int kNotExecuted = 255;
    if (WIFSIGNALED(status)) {
        snprintf(text, size, "%s was killed by signal %d, %s", tool, WTERMSIG(status), strsignal(WTERMSIG(status)));
    } else if (WIFEXITED(status)) {
        snprintf(text, size, "%s%s ended with exit status %d", tool,
                 WEXITSTATUS(status) == kNotExecuted ? " could not be executed, or" : "", WEXITSTATUS(status));
    } else {
        snprintf(text, size, "no result code that is known here");
    }
}

} // namespace

int q7net_explain(const void *message, size_t size, int32_t rc, char *text, size_t text_size)
{
    RequestFrame request{};
    memcpy(&request, message, std::min(size, sizeof request - 1)); // as the daemon reads it
    const Command command = command_of(request);
    if (rc == RD_RC_OK) {
        if (command.unproven == nullptr) {
            snprintf(text, text_size, "done");
            return Q7NET_SUCCESS;
        }
        snprintf(text, text_size, "done: %s", command.unproven);
        return Q7NET_UNPROVEN;
    }
    constexpr int32_t kShortestFrame = 64;
    if (request.header.cmd == RD_CMD_SEND_PACKET && rc >= kShortestFrame) {
        snprintf(text, text_size, "done: sent %d bytes", rc);
        return Q7NET_SUCCESS;
    }
    const char *const tool = command.tool != nullptr ? command.tool : "a tool";
    const char *const meaning = meaning_of(command, rc);
    if (meaning == nullptr) {
        write_wait_status(tool, rc, text, text_size);
        return Q7NET_WAIT_STATUS;
    }
    const bool tried = rc == RD_RC_FAILED || rc == RD_RC_NO_RESOURCE || rc == RD_RC_NO_CHILD;
    const int length = snprintf(text, text_size, "%s: %s", tried ? "failed" : "refused", meaning);
    // The one code that is a death too which happens: a segmentation fault.
    if (rc == RD_RC_TOO_LONG && command.tool != nullptr && static_cast<size_t>(length) < text_size) {
        snprintf(text + length, text_size - static_cast<size_t>(length), ", or %s was killed by signal 11", tool);
    }
    return tried ? Q7NET_FAILED : Q7NET_REFUSED;
}
