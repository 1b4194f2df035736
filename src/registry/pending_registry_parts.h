// Enclosure queries and device-number lookups that other parts of the registry provide (the
// enclosure query interface, the disk lookups by device number). Declared weak so the disk
// registry links and runs before they exist: a call site tests the address and, while it is
// null, falls back as its comment says or fails with a trace. Once they are built this header
// goes, and the call sites call them directly.
#ifndef NASHAL_REGISTRY_PENDING_REGISTRY_PARTS_H
#define NASHAL_REGISTRY_PENDING_REGISTRY_PARTS_H

#include <cstdint>

extern "C" {
__attribute__((weak)) int SE_Get_PD_Port_Num(int enc_id);
__attribute__((weak)) int SE_Get_Cache_Enc_Id(void);
__attribute__((weak)) int SE_Get_Pci_Cache_Enc_Id(uint32_t *bits);
__attribute__((weak)) char *SE_Get_Log_Name(int enc_id, char *buffer, int size);
__attribute__((weak)) uint64_t pd_get_dev_no_from_sysfs(const char *name);
}

#endif  // NASHAL_REGISTRY_PENDING_REGISTRY_PARTS_H
