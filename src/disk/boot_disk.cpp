// The boot disk's block device, found from the model file before anything is scanned: the
// board's identity places (serial number, MAC addresses, model prefix) live on it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

using nashal::topology::model_int;
using nashal::topology::model_int_or;
using nashal::topology::model_text;

namespace {

constexpr const char *kBootEnclosure = "Boot Enclosure";
// A USB boot stick may take half a minute to show up after power-on.
constexpr int kUsbAttempts = 31;

int ata_boot_disk(const char *section, char *name_out, int name_size) {
    char bus[HAL_ID_LEN] = {};
    int32_t port = 0;
    if (!model_text(section, "DEV_BUS", bus) || !model_int(section, "DEV_PORT", &port))
        return -1;
    const int domain = model_int_or(section, "DEV_DOMAIN", 0);
    char sys_id[HAL_ID_LEN] = {};
    if (lookup_disk_in_root(domain, bus, nullptr, port, -1, sys_id) != 0)
        return -1;
    int result = get_sd_name(sys_id, name_out, name_size);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Find boot disk = %s, wait = %d seconds\n", __func__, __LINE__,
              name_out, 0);
    return result;
}

int usb_boot_disk(const char *section, char *name_out, int name_size) {
    char bus[HAL_ID_LEN] = {};
    int32_t port = 0;
    if (!model_text(section, "DEV_BUS", bus) ||
        (!model_int(section, "DEV_PORT", &port) && !model_int(section, "DEV_PORT_NS", &port)))
        return -1;
    const int in_hub = model_int_or(section, "IN_HUB", 0);
    const int domain = model_int_or(section, "DEV_DOMAIN", 0);
    const int switch_port = model_int_or(section, "PCI_SWITCH_PORT", -1);
    char *found[1] = {};
    int waited = 0;
    for (int attempt = 0; attempt < kUsbAttempts; ++attempt) {
        int n = lookup_disk_in_root_usb_hub(domain, bus, nullptr, port, in_hub, switch_port, 0,
                                            found, 1);
        if (n > 0 && found[0])
            break;
        os_sleep(1);
        ++waited;
    }
    if (!found[0])
        return -1;
    int result = get_sd_name(found[0], name_out, name_size);
    free(found[0]);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Find boot disk = %s, wait = %d seconds\n", __func__, __LINE__,
              name_out, waited);
    return result;
}

}  // namespace

extern "C" int pd_sys_get_boot_disk(int index, char *name_out, int name_size) {
    int32_t max_disk = 0;
    char type[HAL_ID_LEN] = {};
    if (!name_out || name_size <= 0 || index < 0 ||
        !model_int(kBootEnclosure, "MAX_DISK_NUM", &max_disk) || index >= max_disk ||
        !model_text(kBootEnclosure, "DISK_DRV_TYPE", type))
        return -1;
    char section[HAL_ID_LEN];
    snprintf(section, sizeof section, "Boot Disk %d", index + 1);
    switch (get_disk_drv_type(type)) {
        case DISK_DRV_TYPE_ATA:
            return ata_boot_disk(section, name_out, name_size);
        case DISK_DRV_TYPE_FLASH:
            return model_text(section, "FLASH_SYS_NAME", name_out, static_cast<size_t>(name_size))
                       ? 0
                       : -1;
        case DISK_DRV_TYPE_USB:
            return usb_boot_disk(section, name_out, name_size);
        default:
            // No other kind of boot device is looked for.
            return -1;
    }
}
