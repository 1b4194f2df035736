// What the enclosure registry calls in the disk and printer registries.
#ifndef NASHAL_REGISTRY_PENDING_SCANS_H
#define NASHAL_REGISTRY_PENDING_SCANS_H

#include "nashal/hal_pd.h"   // PD_Scan, pd_detach_by_dev_id: the disks of an enclosure
#include "nashal/hal_prt.h"  // PRT_Scan: the printers of the main unit

#endif  // NASHAL_REGISTRY_PENDING_SCANS_H
