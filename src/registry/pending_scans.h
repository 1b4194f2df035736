// What the enclosure registry calls in the disk and printer registries.
#ifndef NASHAL_REGISTRY_PENDING_SCANS_H
#define NASHAL_REGISTRY_PENDING_SCANS_H

#include "nashal/hal_prt.h"  // PRT_Scan: the printers of the main unit

extern "C" {
// Forgets the enclosure's disks and records those found now; 0.
int PD_Scan(int enc_id);
// Takes one disk out of the enclosure's record and runs its detach hook.
int pd_detach_by_dev_id(int enc_id, int port_id);
}

#endif  // NASHAL_REGISTRY_PENDING_SCANS_H
