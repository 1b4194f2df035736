// Functions of the disk backend that other parts of the library provide: SAS log pages (SAS
// warning and standby support), the expander and Thunderbolt slot lookups, and ATA SMART enable.
// Declared weak so this backend links and runs before they exist; a call site tests the address
// and takes the branch as failed, with a trace, while it is null. Once every one of them is built
// this header goes, and the call sites call them directly.
#ifndef NASHAL_DISK_PENDING_DISK_PARTS_H
#define NASHAL_DISK_PENDING_DISK_PARTS_H

#include "nashal/pd_sys.h"

extern "C" {
__attribute__((weak)) int enable_ata_smart(const char *device, int enable);
__attribute__((weak)) int pd_sys_set_sas_warning(const char *enc_sys_id, const char *name);
__attribute__((weak)) int get_sas_pwr_standby_support(const char *pd_ctrl_name);
__attribute__((weak)) int get_sas_target_device_address(const char *pd_ctrl_name,
                                                        unsigned char *wwn_out);
__attribute__((weak)) int get_port_in_sas_enclosure(const char *enclosure_sys_id,
                                                    const unsigned char *sas_address,
                                                    PD_INFO *pd_info);
__attribute__((weak)) int get_usb_expander_port(const char *bus_name, const char *pd_sys_id,
                                                int type_index, PD_INFO *pd_info);
}

// Traces that `function` is not in this build; the caller then fails its branch.
void trace_not_built(const char *caller, const char *function);

#endif  // NASHAL_DISK_PENDING_DISK_PARTS_H
