// SAS expansion enclosures: an expander in /sys/class/sas_expander with an enclosure services
// device behind it, named by that device's generic node ("sg5"). Everything it has (slots,
// fans, sensors, power supplies, display, locate light, connectors) is read and written
// through SES pages and a few vendor diagnostic pages, with the sg3_utils tools.
#ifndef NASHAL_ENCLOSURE_SAS_EXPANDER_H
#define NASHAL_ENCLOSURE_SAS_EXPANDER_H

#include <cstddef>
#include <cstdint>

#include "nashal/hal_types.h"

extern "C" {
int sas_expander_enumerate(char **enc_sys_ids, unsigned int max_count);
int sas_expander_getinfo(const char *enc_sys_id, ENC_INFO *info);
int sas_expander_get_sn(const char *enc_sys_id, char *buffer, int size);
int sas_expander_get_connector_status(const char *enc_sys_id, uint32_t *status, int max);

int sas_expander_get_temperature(const char *enc_sys_id, int temp_index, double *temperature);
int sas_expander_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status);
int sas_expander_set_fan_speed(const char *enc_sys_id, int level);
int sas_expander_get_power_supply_status(const char *enc_sys_id, int index, int *status);
int sas_expander_set_7_segment_led(const char *enc_sys_id, int value);
int sas_expander_set_ident_led(const char *enc_sys_id, int enable);

int sas_expander_get_nickname(const char *enc_sys_id, char *buffer, int size);
int sas_expander_set_nickname(const char *enc_sys_id, const char *name);
int sas_expander_get_sas_addr(const char *enc_sys_id, char *buffer, int size);
int sas_expander_set_sas_addr(const char *enc_sys_id, const char *address);
int sas_expander_get_link_state(int direction, const char *expander, const char *suffix,
                                int *link_num, int *speed);
}

namespace nashal::enclosure {

// Decoders of the vendor pages, apart from running the tools (unit tests and the fuzz target
// call them on captured bytes).

// Page 0x81 answer of `length` bytes: the status byte of each record whose element number is
// the next of `wanted` (in order), at most `max` of them. Returns the count delivered, or -1
// for a page whose code or length disagrees with the bytes read or a record of another type.
// Records that run past the answer end the walk.
int decode_connector_page(const unsigned char *page, size_t length, const int *wanted,
                          int wanted_count, uint32_t *status, int max);

// Offset of an element in a status page of `page_len` bytes, or -1 when the list doesn't
// have it or a hostile configuration page places it (or any of its four bytes) past the
// status bytes read. Every caller here goes through this bound.
int bounded_element_offset(uint8_t type, int index, const uint32_t (*types)[2], int type_count,
                           int page_len);

// Page 0x82 answer: the address as 16 hexadecimal digits into `buffer`. 0 or -1.
int decode_sas_address_page(const unsigned char *page, size_t length, char *buffer, int size);

// Sends one vendor command page through sg_senddiag, retrying as the enclosure firmware may be
// busy: up to 11 tries, one second apart. `what` names the command in the traces. Returns the
// result of the last try.
int send_with_retries(const char *who, const char *enc_sys_id, const char *what,
                      const char *command);

// Vendor page 0x80 sub-commands 1 and 2. The heartbeat retries; the reboot is sent once.
// Both return the result of system().
int sas_expander_heartbeat(const char *enc_sys_id);
int sas_expander_reboot(const char *enc_sys_id);

// Sixteen hexadecimal digits, the one form of a SAS address the tools take.
bool is_sas_address_text(const char *address);

}  // namespace nashal::enclosure

#endif  // NASHAL_ENCLOSURE_SAS_EXPANDER_H
