/* The disk backend: pd_sys_ enumeration and slot lookup of disks. */
#ifndef NASHAL_PD_SYS_H
#define NASHAL_PD_SYS_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_PD_SYS_H */
