#include "hostnic/commands.h"

#include "base/child.h"
#include "base/file.h"
#include "base/line.h"
#include "base/text.h"
#include "base/validate.h"
#include "iface/address.h"
#include "iface/bond.h"
#include "iface/link.h"

#include <algorithm>

static constexpr const char *kUsbpt = "usbpt";
static constexpr const char *kUdc = "/sys/kernel/config/usb_gadget/usbpt/UDC";
static constexpr const char *kController = "f0835000.udc";
static constexpr const char *kFunctionNames[] = {"/sys/kernel/config/usb_gadget/usbpt/functions/ecm.0/ifname",
                                                 "/sys/kernel/config/usb_gadget/usbpt/functions/rndis.0/ifname"};
static constexpr const char *kUdhcpdPidFile = "/run/udhcpd_usbpt.pid";
static constexpr int kDriverTries = 4;
static constexpr int kIpv6PrefixLength = 64;

// Binds the gadget to the USB device controller (non-zero) or unbinds it (0), and reads back what became of it.
// Returns 0 when the kernel shows what was asked for, else RD_RC_FAILED.
static int rd_set_usbnic_driver_state(uint32_t enable)
{
    RD_INFO("%s driver\n", enable != 0 ? "enabling" : "disabling");
    const char *const value = enable != 0 ? kController : "";
    const int length = static_cast<int>(strlen(value)) + 1;

    File file(fopen(kUdc, "we"));
    if (file == nullptr) {
        RD_ERROR("failed to open %s %s\n", kUdc, ErrorText(errno).c_str());
        return RD_RC_FAILED;
    }
    const int written = fprintf(file.get(), "%s\n", value);
    // Only now does the kernel see the value. It refuses to unbind what is not bound (ENODEV), which is as good as
    // done, so its verdict is not looked at: what is read back decides.
    file.reset();
    if (written != length) {
        RD_ERROR("failed to modify %s\n", kUdc);
        return RD_RC_FAILED;
    }
    RD_DEBUG("wrote %d bytes to %s\n", written, kUdc);

    char text[14];
    const int error = rd_read_line(kUdc, text);
    if (error != 0) {
        RD_ERROR("failed to open %s for verification of write %s\n", kUdc, ErrorText(error).c_str());
        return RD_RC_FAILED;
    }
    if (text[0] == '\0') { // not even the newline of an unbound gadget
        RD_ERROR("unable to read from %s\n", kUdc);
        return RD_RC_FAILED;
    }
    text[strcspn(text, "\n")] = '\0';
    if (strncmp(text, value, sizeof text) != 0) {
        RD_ERROR("invalid write to %s\n", kUdc);
        return RD_RC_FAILED;
    }
    RD_INFO("driver command OK\n");
    return RD_RC_OK;
}

static int switch_driver(uint32_t enable)
{
    int rc = RD_RC_FAILED;
    for (int i = 0; i < kDriverTries && rc != RD_RC_OK; i++) {
        rc = rd_set_usbnic_driver_state(enable);
    }
    return rc;
}

static int rd_init_usbnic(const UsbnicRequest &request)
{
    if (request.host_mac[0] == '\0' || request.device_mac[0] == '\0') {
        return rd_refuse(RD_RC_ABSENT, "missing usbnic mac addresses");
    }
    if (const int refused = rd_check(rd_validate_mac, request.host_mac, "Invalid host mac address")) {
        return refused;
    }
    if (const int refused = rd_check(rd_validate_mac, request.device_mac, "Invalid device mac address")) {
        return refused;
    }
    RD_INFO("\n");
    return rd_run<"/bin/configfs_gadget_usbpt.sh <host-mac> <device-mac> <flag>">(request.host_mac, request.device_mac,
                                                                                  request.gadget_flag != 0 ? "1" : "0");
}

// Bonds the interfaces of both functions and sets all three up. Returns the result of setting the bond up.
static int rd_usbnic_do_enjoinment(const char *bond_mac)
{
    char names[std::size(kFunctionNames)][RD_IFNAME_SIZE] = {};
    for (size_t i = 0; i < std::size(kFunctionNames); i++) {
        const int error = rd_read_line(kFunctionNames[i], names[i]);
        if (error != 0) {
            RD_WARN("Unable to open %s %s\n", kFunctionNames[i], ErrorText(error).c_str());
        }
        names[i][strcspn(names[i], "\n")] = '\0';
    }
    rd_add_bond(kUsbpt, names,
                {.mac = bond_mac,
                 .active_backup = false,
                 .ipv6 = {.enable = 1, .autoconfig = 0, .mode = RD_ADDRESS_GENERATION_LEAVE}});
    for (const auto &name : names) {
        if (name[0] != '\0') {
            rd_set_link_state(name, RD_LINK_UP);
        }
    }
    return rd_set_link_state(kUsbpt, RD_LINK_UP);
}

// Starts the DHCP server for the host, or stops it. Returns the wait status of the tool, or RD_RC_FAILED when there was no
// server to stop.
static int control_dhcp_server(bool start, const char *function = __builtin_FUNCTION())
{
    if (start) {
        RD_INFO_OF(function, "starting udhcpd\n");
        return rd_run<"/usr/sbin/udhcpd -S /etc/systemd/network/usbpt.conf">();
    }
    uint32_t pid = 0;
    if (rd_get_pid_from_file(kUdhcpdPidFile, &pid) != 0) {
        RD_INFO_OF(function, "unable to get udhcpd pid from file\n");
        return RD_RC_FAILED;
    }
    char pid_text[12];
    rd_format(pid_text, "%u", pid);
    RD_INFO_OF(function, "killing udhcpd pid %s\n", pid_text);
    return rd_run<"/bin/kill -HUP <pid>">(pid_text);
}

int rd_usbnic_action(UsbnicRequest *request)
{
    if (request->action == RD_USBNIC_CREATE) {
        RD_INFO("initializing usbpt\n");
        return rd_init_usbnic(*request);
    }

    rd_cut(request->device_mac, request->address[0], request->address[1], request->address[2]);
    int rc = 0;
    if (request->action == RD_USBNIC_RENEW) {
        RD_INFO("update ULA: flushing global IPv6 addrs\n");
        rc = rd_run<"/sbin/ip -6 addr flush dev usbpt scope global">();
    } else {
        RD_INFO("flushing all global addrs\n");
        rc = rd_flush_global(kUsbpt);
        if (rc != 0) {
            RD_WARN("failed to flush global addrs rc=%d\n", rc);
        }
        rc = switch_driver(0);
        if (request->action == RD_USBNIC_UP) {
            switch_driver(1);
            RD_INFO("setting %s link state up\n", kUsbpt);
            rc = rd_usbnic_do_enjoinment(request->device_mac);
        }
    }

    for (const auto &address : request->address) {
        if (address[0] != '\0') {
            const bool ipv6 = strchr(address, ':') != nullptr;
            const auto ipv4_prefix_length = static_cast<int>(std::min<uint32_t>(request->prefix_length, 32));
            rc = rd_chg_static_ip(kUsbpt, address, ipv6 ? kIpv6PrefixLength : ipv4_prefix_length);
        }
    }

    if (request->action == RD_USBNIC_UP || request->action == RD_USBNIC_DOWN) {
        rc = control_dhcp_server(request->dhcp_server != 0);
    }
    if (request->action == RD_USBNIC_DOWN) {
        RD_INFO("setting %s link state down\n", kUsbpt);
        rc = rd_set_link_state(kUsbpt, RD_LINK_DOWN);
    }
    return rc;
}
