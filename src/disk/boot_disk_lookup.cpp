// The boot disk found from the model file alone, before any registry exists: the init scripts
// ask for it to mount the system before anything is scanned.
#include <cstdio>
#include <cstdlib>

#include "disk/disk_model.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "os/os_seam.h"

using namespace nashal::disk;

namespace {

// A USB boot disk may take this long to show up after power-on.
constexpr int kUsbBootWaitTries = 31;

int found(const char *who, const char *id, char *name_out, int name_size, int waited) {
    if (get_sd_name(id, name_out, name_size) != 0)
        return -1;
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Find boot disk = %s, wait = %d seconds\n", who, __LINE__,
              name_out, waited);
    return 0;
}

int ata_boot_disk(const char *section, char *name_out, int name_size) {
    char bus[kIdLen];
    int32_t port = 0;
    if (!model_text(section, "DEV_BUS", bus) || !model_int(section, "DEV_PORT", &port))
        return -1;
    int32_t domain = 0;
    model_int(section, "DEV_DOMAIN", &domain);
    char id[kIdLen] = {};
    if (lookup_disk_in_root(domain, bus, nullptr, port, -1, id) != 0)
        return -1;
    return found("pd_sys_get_boot_disk", id, name_out, name_size, 0);
}

int usb_boot_disk(const char *section, char *name_out, int name_size) {
    char bus[kIdLen];
    if (!model_text(section, "DEV_BUS", bus))
        return -1;
    int32_t port = 0;
    if (!model_int(section, "DEV_PORT", &port) && !model_int(section, "DEV_PORT_NS", &port))
        return -1;
    int32_t in_hub = 0;
    int32_t domain = 0;
    int32_t switch_port = -1;
    model_int(section, "IN_HUB", &in_hub);
    model_int(section, "DEV_DOMAIN", &domain);
    model_int(section, "PCI_SWITCH_PORT", &switch_port);
    for (int waited = 0; waited < kUsbBootWaitTries; ++waited) {
        char *list[1] = {nullptr};
        int n = lookup_disk_in_root_usb_hub(domain, bus, nullptr, port, in_hub, switch_port, 0,
                                            list, 1);
        if (n > 0 && list[0]) {
            char id[kIdLen];
            snprintf(id, sizeof id, "%s", list[0]);
            free(list[0]);
            return found("pd_sys_get_boot_disk", id, name_out, name_size, waited);
        }
        free(list[0]);
        os_sleep(1);
    }
    return -1;
}

}  // namespace

extern "C" int pd_sys_get_boot_disk(int index, char *name_out, int name_size) {
    if (!name_out || name_size <= 0 || index < 0)
        return -1;
    const MainUnitEnclosure &boot = main_unit_enclosure(MainUnitKind::Boot);
    int32_t slots = 0;
    char type[kIdLen];
    if (!model_int(boot.section, boot.count_key, &slots) || index >= slots ||
        !model_text(boot.section, "DISK_DRV_TYPE", type))
        return -1;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "%s %d", boot.slot_prefix, index + 1);
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
            // No other kind of boot device has ever been described.
            return -1;
    }
}
