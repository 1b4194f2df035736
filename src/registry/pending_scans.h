// What the enclosure registry calls in the disk and printer registries.
#ifndef NASHAL_REGISTRY_PENDING_SCANS_H
#define NASHAL_REGISTRY_PENDING_SCANS_H

#include "nashal/hal_pd.h"

extern "C" {
// Records the printers of the main unit; 0.
int PRT_Scan(void);
}

#endif  // NASHAL_REGISTRY_PENDING_SCANS_H
