/* Gives the kernel's own emulated USB device controller (dummy_hcd) the name that the daemon binds gadgets to. */
#include <linux/module.h>
#include <linux/platform_device.h>

static int __init udc_name_init(void)
{
    struct device *platform = bus_find_device_by_name(&platform_bus_type, NULL, "dummy_udc.0");
    struct device *udc = platform ? device_find_child_by_name(platform, "dummy_udc.0") : NULL;
    int rc = udc ? device_rename(udc, "f0835000.udc") : -ENODEV;

    put_device(udc);
    put_device(platform);
    return rc;
}
module_init(udc_name_init);
MODULE_LICENSE("GPL"); /* without which the kernel gives it none of these functions */
MODULE_DESCRIPTION("Names dummy_hcd's device controller f0835000.udc");
