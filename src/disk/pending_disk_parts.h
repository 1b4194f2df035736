// Functions of the disk backend that other parts of the library provide: the PCIe slot lookup.
// Declared weak so this backend links and runs before they exist; a call site tests the address
// and takes the branch as failed, with a trace, while it is null. Once every one of them is built
// this header goes, and the call sites call them directly.
#ifndef NASHAL_DISK_PENDING_DISK_PARTS_H
#define NASHAL_DISK_PENDING_DISK_PARTS_H

#include "nashal/pd_sys.h"

extern "C" {
__attribute__((weak)) int get_pcie_physical_drive_port(const char *pd_sys_id,
                                                       int *physical_port_out,
                                                       int *pci_switch_port_out);
}

// Traces that `function` is not in this build; the caller then fails its branch.
void trace_not_built(const char *caller, const char *function);

#endif  // NASHAL_DISK_PENDING_DISK_PARTS_H
