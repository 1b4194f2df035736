/* The configuration store, Ini_Conf_*: sections and fields in INI-like text files. Every call
 * reads the file afresh and is atomic with respect to other processes. */
#ifndef NASHAL_INI_CONF_H
#define NASHAL_INI_CONF_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Integer formats. */
#define INI_CONF_DEC 0
#define INI_CONF_HEX 1

/* Bitmap enumeration callback: >= 0 takes the bit, -2 passes it over, -1 stops the walk. */
typedef int (*INI_CONF_BITMAP_CB)(int bit, void *cookie);

/* Handle of the lock pair. */
typedef struct INI_CONF_LOCK INI_CONF_LOCK;

int Ini_Conf_Get_Field(const char *file, const char *section, const char *field, char *out,
                       int size);
int Ini_Conf_Set_Field(const char *file, const char *section, const char *field, const char *value);
int Ini_Conf_Get_Field_Int(const char *file, const char *section, const char *field, int32_t *out,
                           int format);
int Ini_Conf_Set_Field_Int(const char *file, const char *section, const char *field, int32_t value,
                           int format);
int Ini_Conf_Remove_Field(const char *file, const char *section, const char *field);
int Ini_Conf_Remove_Section(const char *file, const char *section);

int Ini_Conf_Bitmap_Is_Bit_Set(const char *file, const char *section, const char *field, int bit);
int Ini_Conf_Bitmap_Set_Bit(const char *file, const char *section, const char *field, int bit);
int Ini_Conf_Bitmap_Reset_Bit(const char *file, const char *section, const char *field, int bit);
int Ini_Conf_Bitmap_Get_Next_Free_Bit(const char *file, const char *section, const char *field,
                                      int *bit, int start_bit, int mark);
int Ini_Conf_Bitmap_Get_Set_Count(const char *file, const char *section, const char *field);
int Ini_Conf_Bitmap_Enumerate(const char *file, const char *section, const char *field, int *array,
                              int capacity, INI_CONF_BITMAP_CB callback, void *cookie);

INI_CONF_LOCK *Ini_Conf_Write_Lock_File(const char *file);
int Ini_Conf_Unlock_File(INI_CONF_LOCK *handle);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_INI_CONF_H */
