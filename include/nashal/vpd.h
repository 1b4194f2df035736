/* Vital product data: the motherboard ROM (rom 0, 216 bytes) and the backplane ROM (rom 1, 224
 * bytes), in the IPMI FRU area structure with every field at a fixed place.
 *
 * A field is addressed by a 32-bit descriptor (rom in bits 26-27, type in 24-25: 0 text, 1
 * hexadecimal, 2 date; length in 16-23, offset in 0-15) or by an id text "row:index" into the
 * table of 2 rows of 13 fields. Dates read and write as "YYYY/MM/DD-hh:mm". */
#ifndef NASHAL_VPD_H
#define NASHAL_VPD_H

#include <stdio.h>

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VPD_MB_ROM_SIZE 216
#define VPD_BP_ROM_SIZE 224

/* The ids of the board part numbers whose product codes, PCB and BOM versions choose the model
 * file: the mainboard's and the backplane's. */
#define VPD_MB_IDENTITY_FIELD "0:4"
#define VPD_BP_IDENTITY_FIELD "1:7"

/* The whole ROM from offset 0; the result of the ROM read, -1 for a null buffer or a length
 * below 1. */
int VPD_Full_Read(uint8_t *buffer, int length, int rom);
int VPD_Full_Write(const uint8_t *data, int length, int rom);

/* One field as text into buffer (size bytes); 0, or -1 for descriptor 0. A dead ROM reads as an
 * empty text. */
int VPD_Get_Field(uint32_t descriptor, char *buffer, int size);
/* Writes one field: the ROM is read whole, the field set, the image repaired by the validator
 * and written back whole. Texts are cut to the field's length less one. 0, or -1. */
int VPD_Set_Field(uint32_t descriptor, const char *text);
int VPD_Get_Field_By_Id(const char *id, char *buffer, int size);
int VPD_Set_Field_By_Id(const char *id, const char *text);

/* "YYYY/MM/DD-hh:mm" (years 2007 to 2037) into size bytes of minutes since 2013/01/01 00:00,
 * little-endian; earlier dates give 0. 0, or -1. */
int VPD_MfgDate_To_Binary(const char *text, int length, uint8_t *out, int size);
/* The other way; always 0. */
int VPD_Binary_To_Mfgdate(char *buffer, int size, const uint8_t *binary, int binary_size);

/* Repair an image in place: constant bytes, type/length bytes, padding of texts and the area
 * checksums. The number of repairs, -1 for a null image. */
int VPD_MB_Data_Validator(uint8_t *rom);
int VPD_BP_Data_Validator(uint8_t *rom);

/* A hexadecimal dump, eight bytes a line. */
int VPD_Print_Rom(FILE *stream, const uint8_t *data, int length);

/* A well-formed default image into a cleared buffer of at least the ROM's size, also written
 * to path when one is given. 0, or -1. */
int VPD_Gen_Default_ROM(int rom, uint8_t *buffer, int size, const char *path);

/* The ROM transfers, routed by "VPD_MB" (position 0) and "VPD_BP" (position 1) of "System IO".
 * The read returns the bytes read (0 on a bus failure) or -1 when the model has no ROM; the
 * write 0 or -1. */
int se_sys_read_vpd(int position, int offset, int length, uint8_t *buffer, int limit);
int se_sys_write_vpd(int position, int offset, const uint8_t *buffer, int length);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_VPD_H */
