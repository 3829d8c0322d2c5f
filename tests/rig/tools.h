// The tools that the daemon runs, and no other.
#pragma once

inline constexpr const char *kTools[] = {
    "/sbin/ip",
    "/sbin/dhclient",
    "/bin/arping",
    "/bin/configfs_gadget_usbpt.sh",
    "/bin/kill",
    "/bin/ping",
    "/bin/systemctl",
    "/usr/sbin/ethtool",
    "/usr/sbin/ifenslave",
    "/usr/sbin/iptables",
    "/usr/sbin/udhcpd",
    "/etc/sysapps_script/network/fwctrl.sh",
    "/etc/sysapps_script/network/systemautoconf.sh",
    "/etc/sysapps_script/network/tendmoor_bc.sh",
};
