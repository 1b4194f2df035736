/* Device path resolution: SCSI, PCI and USB helpers over sysfs. */
#ifndef NASHAL_COMM_PATH_H
#define NASHAL_COMM_PATH_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_PATH_H */
