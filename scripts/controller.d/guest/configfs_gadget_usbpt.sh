#!/bin/sh
# configfs_gadget_usbpt.sh HOST-MAC DEVICE-MAC FLAG: stands in for the platform's script, and does its work: the gadget
# usbpt with an ECM and an RNDIS function, not bound to a device controller.
set -e
mkdir -p /sys/kernel/config/usb_gadget/usbpt
cd /sys/kernel/config/usb_gadget/usbpt
[ ! -d configs/c.1 ] || exit 0
echo 0x1d6b >idVendor
echo 0x0104 >idProduct
mkdir -p strings/0x409 functions/ecm.0 functions/rndis.0 configs/c.1 configs/c.2
for function in ecm.0 rndis.0; do
    echo "$1" >functions/$function/host_addr
    echo "$2" >functions/$function/dev_addr
done
ln -s functions/rndis.0 configs/c.1
ln -s functions/ecm.0 configs/c.2
