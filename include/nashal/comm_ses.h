/* SCSI enclosure services access and the reader of outside programs' output. The library sends
 * no SCSI command to an enclosure itself: it runs the sg3_utils tools and reads their output. */
#ifndef NASHAL_COMM_SES_H
#define NASHAL_COMM_SES_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The USB vendor id assigned to the appliance's maker. Placeholder: set it per product. A
 * device with this vendor id and a product id whose high byte is 0xff is never an enclosure. */
#define VORN_USB_VENDOR_ID 0xfff0

/* Sizes the callers use. */
#define SES_MAX_ELEMENT_TYPES 32 /* entries of an element type list */
#define SES_STATUS_PAGE_LEN 256  /* status and control page buffer */
#define SAS_ADDRESS_LEN 8        /* SAS target port address */

/* Results of comm_sys_check_usb_expander_type. */
#define USB_EXPANDER_TYPE_HUB 0    /* not listed: a plain hub */
#define USB_EXPANDER_TYPE_OWN 1    /* the maker's own device: never an enclosure */
#define USB_EXPANDER_TYPE_PIC 2    /* listed, with a PIC controller */
#define USB_EXPANDER_TYPE_LISTED 3 /* listed, no controller */

/* Runs `command` through the shell and reads all its output into `buffer` (cleared first).
 * Returns the number of bytes (binary data with zeros included), terminated; -1 when the
 * command can't start, prints nothing, or prints more than size-1 bytes. The exit status is
 * ignored. */
int comm_sys_read_from_popen(const char *command, char *buffer, int size);

/* Element type list of SES page 1: types[i][0] the element type, types[i][1] the number of
 * possible elements, in the order of the type descriptor headers. Returns the count, or -1. */
int comm_sys_get_ses_enc_conf(const char *sg_name, uint32_t (*types)[2], int max_types);

/* The bytes of SES page 2, header included. Returns the number of bytes, or -1. */
int comm_sys_get_ses_enc_status(const char *sg_name, unsigned char *buffer, int size);

/* Byte offset of element `index` of `type` in the status page. The overall element of each
 * type counts as index 1. 0 or -1. */
int comm_sys_get_ses_control_element_offset(uint32_t type, int index, const uint32_t (*types)[2],
                                            int type_count, int *offset);

/* Sends `length` bytes as the control page with "sg_ses -c -p 0x2 -d". 0, or -1 if memory
 * fails; the command's own result isn't examined. */
int comm_sys_send_ses_enc_control(const char *sg_name, const unsigned char *data, int length);

/* Standard inquiry of `device` (a whole path, /dev/sg3) into `buffer`. 0 or -1. */
int comm_sys_get_sas_inquiry_resp(const char *device, char *buffer, int size);

/* Bytes 8-15 of an inquiry answer into `vendor` (9 bytes at least), 16-31 into `model` (17 at
 * least), terminated, untrimmed. Always 0. */
int comm_sys_parse_sas_vendor_model(const char *inquiry, char *vendor, char *model);

/* The SAS target port address (8 bytes) from VPD page 0x83 of /dev/<sg_name>. 0 or -1;
 * `address` is untouched when no designator qualifies. */
int comm_sys_get_sas_target_port_address(const char *sg_name, unsigned char *address);

/* Unit serial number (VPD page 0x80, at most 32 characters, trimmed) into `serial` (33
 * bytes). 0 or -1. */
int comm_sys_get_sas_serial_resp(const char *device, char *serial);

/* Removes leading and trailing spaces in place. Returns the length before the end was trimmed.
 */
int comm_sys_remove_prefix_postfix_space(char *text, int size);

/* 0 if the generic node named by `enc_sys_id` is an enclosure services device, else -1. */
int comm_sys_check_is_sas_expander(const char *enc_sys_id);

/* 0 if the expander is an expansion enclosure, -1 if it is the unit's own or on error. */
int comm_sys_check_sas_expander_sanity(const char *sg_name);

/* The enc_sys_id of the enclosure a SAS expander hangs on ("root" or "sg%d") into `parent`
 * (32 bytes). 0 or -1. */
int comm_sys_get_sas_expander_parent_sysid(const char *enc_sys_id, char *parent);

/* Kind of USB device at `usb_bus` (USB_EXPANDER_TYPE_*), or -1. `type_number` (may be null)
 * receives the number of its "External Type %d" section. */
int comm_sys_check_usb_expander_type(const char *usb_bus, int *type_number);

/* Writes the enc_sys_id of the unit's internal expander into the caller's 32 bytes. 0 or -1. */
int comm_sys_get_real_enc_sys_id(char *enc_sys_id);

/* Public form of the above for "root": `size` must be at least 32. 0 or -1. */
int se_sys_get_real_enc_sys_id(const char *id, char *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_SES_H */
