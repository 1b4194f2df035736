/* EDID of the unit's display outputs, read over I2C. */
#ifndef NASHAL_EDID_H
#define NASHAL_EDID_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define EDID_SIZE 256

/* "EDID_COUNT" of "System IO"; 1 when the model doesn't say. */
int EDID_Get_Count(void);

/* Reads 256 bytes of EDID number edid_id and checks the header and the sum of all 256 bytes.
 * Returns the read's result (0 on success), or -1 when the data fails the check, in which case
 * nothing is copied. Otherwise size bytes (at most 256) are copied to buffer when one is given. */
int EDID_Read_and_Validate(int edid_id, uint8_t *buffer, int size);

/* The EDID route: "EDID_%d" of "System IO", "I2C-<bus>:<address>[:<length>]" in hexadecimal.
 * 0; -2 for a size below the length, -3 without the key, -4 for a value that doesn't parse; or
 * the bus read's -1. */
int se_sys_read_edid(int edid_id, uint8_t *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_EDID_H */
