// What the enclosure registry calls in the disk and printer registries (PD_Scan,
// pd_detach_by_dev_id, PRT_Scan): both are built now, so this is just their public headers.
#ifndef NASHAL_REGISTRY_PENDING_SCANS_H
#define NASHAL_REGISTRY_PENDING_SCANS_H

#include "nashal/hal_pd.h"
#include "nashal/hal_prt.h"

#endif  // NASHAL_REGISTRY_PENDING_SCANS_H
