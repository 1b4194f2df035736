/* SCSI enclosure services access and the reader of outside programs' output. */
#ifndef NASHAL_COMM_SES_H
#define NASHAL_COMM_SES_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_SES_H */
