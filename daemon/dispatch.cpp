#include "dispatch.h"

#include "firewall/commands.h"
#include "hostnic/commands.h"
#include "iface/commands.h"
#include "mdns/commands.h"
#include "system/commands.h"

bool rd_run_command(RequestFrame *request, int32_t *rc)
{
    const uint32_t cmd = request->header.cmd;
    if (cmd == 0 || cmd > RD_CMD_COUNT) {
        return false;
    }
    switch (static_cast<CommandCode>(cmd)) { // without a default: the compiler knows of a missing case
    case RD_CMD_AUTOCONFIG: *rc = rd_server_autoconfig_launch(&request->autoconfig); return true;
    case RD_CMD_USBNIC: *rc = rd_usbnic_action(&request->usbnic); return true;
    case RD_CMD_MGMT_RECONFIG: *rc = rd_mgmt_iface_reconfig(&request->mgmt_reconfig); return true;
    case RD_CMD_SERVICE: *rc = rd_systemd_service_control(&request->service, request->header.wait); return true;
    case RD_CMD_FIREWALL: *rc = rd_firewall_control(&request->firewall); return true;
    case RD_CMD_CONJOIN: *rc = rd_mgmt_iface_conjoin_in_an_inclusive_fashion(&request->conjoin); return true;
    case RD_CMD_LINK: *rc = rd_link_control(&request->link); return true;
    case RD_CMD_HOSTNAME: *rc = rd_set_netname(Netname::kHost, &request->hostname); return true;
    case RD_CMD_DOMAINNAME: *rc = rd_set_netname(Netname::kDomain, &request->domainname); return true;
    case RD_CMD_ARPING: *rc = rd_send_arping(&request->arping); return true;
    case RD_CMD_BC_IP_RULES: *rc = rd_back_channel_ip_rules(&request->bc_ip_rules); return true;
    case RD_CMD_VLAN_PRIORITY: *rc = rd_set_vlan_priority(&request->vlan_priority); return true;
    case RD_CMD_SLBC: *rc = rd_slbc_control(&request->slbc); return true;
    case RD_CMD_SEND_PACKET: *rc = rd_send_network_packet(&request->send_packet); return true;
    case RD_CMD_HOSTS_FILE: *rc = rd_update_hosts_file(&request->hosts_file); return true;
    case RD_CMD_IPV4_DAD: *rc = rd_ipv4_dad_start(&request->ipv4_dad); return true;
    case RD_CMD_INIT_IFACES: *rc = rd_init_interfaces(&request->init_ifaces); return true;
    case RD_CMD_SIDEBAND: *rc = rd_sideband_control(&request->sideband); return true;
    case RD_CMD_RESET_MGMT: *rc = rd_reset_mgmt_iface(&request->reset_mgmt); return true;
    case RD_CMD_MIF_FLUSH: *rc = rd_mif_addr_flush(&request->mif_flush); return true;
    case RD_CMD_DHCP_RELEASE: *rc = rd_dhcp_release(&request->dhcp_release); return true;
    case RD_CMD_NGM_DEBUG: *rc = rd_ngm_debug(&request->ngm_debug); return true;
    case RD_CMD_MDNS_BROWSE: *rc = rd_mdns_browse_service(&request->mdns_browse); return true;
    case RD_CMD_INIT_SMARTNIC: *rc = rd_init_smartnic(&request->init_smartnic); return true;
    case RD_CMD_INIT_FRONTDEDICATED: *rc = rd_init_frontdedicated(&request->init_frontdedicated); return true;
    case RD_CMD_INIT_FLOP_USB_NIC: *rc = rd_init_flop_usb_nic(&request->init_flop_usb_nic); return true;
    case RD_CMD_LINK_TUNING: *rc = rd_link_tuning(&request->link_tuning); return true;
    case RD_CMD_STATIC_ADDRS: *rc = rd_apply_static_addrs(&request->static_addrs); return true;
    case RD_CMD_TERMINATE: break;
    }
    return false;
}
