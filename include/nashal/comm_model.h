/* Model configuration value parsing (comm_sys_ parsers of model-file values).
 *
 * A model value is a short text: a method word and colon-separated fields ("SIO:I3A:B2:P",
 * "I2C:2E:I15", "B02:D00:F0"). These parsers take the fields apart and know nothing of their
 * meaning. All return 0 on success and -1 on failure unless told otherwise; outputs are 32-bit
 * integers. Parsers that take a `const char *` leave the value as it was; those that take a
 * `char *` cut it at the ":" they pass (or consume it, for the port list), so a caller that
 * needs the value again reads it again from the model file. The parsers don't trace. */
#ifndef NASHAL_COMM_MODEL_H
#define NASHAL_COMM_MODEL_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The file that holds the recognised USB expansion enclosures. */
#define COMM_MODEL_EXT_CONF "/etc/model_ext.conf"
/* The file that describes a Thunderbolt enclosure. */
#define COMM_MODEL_JBOD_CONF "/etc/model_jbod.conf"

/* "B02:D00:F0" gives bus 2, device 0, function 0; "D28:F2" gives bus 0. All decimal. `bus`
 * may be null, `device` and `function` may not. A "B-1:name" value fails here (no "D", "F"). */
int comm_sys_parse_c_dev_bus(const char *value, int32_t *bus, int32_t *device, int32_t *function);

/* "B-1:ahci.0": copies the name behind the ":" into `name` (cut at `size`, terminated) when the
 * bus number is -1; any other bus number is -1. */
int comm_sys_parse_c_internal_driver(const char *value, char *name, int size);

/* "SIO:I3A", "SIO:I3A:B2", "GPIO:I1C:P", "SIO:I3A:B2:P": index and bit in hexadecimal. Returns
 * 1 when a "P" field marks the signal active low, 0 when not, -1 for a bad value. `bit` is left
 * untouched when the value has no bit; it may be null only for values without a "B" field. */
int comm_sys_parse_c_gpio(const char *value, int32_t *index, int32_t *bit);

/* "I2C:2E": the hexadecimal number behind the first ":". */
int comm_sys_parse_c_i2c(const char *value, int32_t *address);

/* "I2C:48:A1:A0": address, start byte, stop byte; hexadecimal. Cuts the value. */
int comm_sys_parse_c_i2c_start_stop(char *value, int32_t *address, int32_t *start, int32_t *stop);

/* "I2C:2E:I15": address and register index; hexadecimal. Cuts the value. */
int comm_sys_parse_c_i2c_index(char *value, int32_t *address, int32_t *index);

/* "I2C:2E:I15:7F": address, register index, value; hexadecimal. Cuts the value. */
int comm_sys_parse_c_i2c_index_write(char *value, int32_t *address, int32_t *index, int32_t *data);

/* "1,2,3": returns the next decimal port number and removes it from the list, 0 when the list
 * is empty (a port 0 therefore ends the list too). */
int comm_sys_get_each_usb_port(char *list);

/* The path of the file that describes a Thunderbolt enclosure ("i2c..." ids), or null with a
 * trace. */
const char *common_sys_get_thunderbolt_conf(const char *enc_sys_id);

/* The I2C bus number of an id "i2c-%d": the decimal number from its fifth character. An id
 * shorter than that gives -1. */
int common_sys_get_thunderbolt_i2c_num(const char *enc_sys_id);

/* A key of section "External Type %d" of /etc/model_ext.conf; 0, or -1 when the store's read
 * fails. `hexadecimal` non-zero reads the integer in base 16. */
int comm_sys_get_c_ext_enclosure_string(int type, const char *key, char *value, int size);
int comm_sys_get_c_ext_enclosure_integer(int type, const char *key, int32_t *value,
                                         int hexadecimal);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_MODEL_H */
