/* Shared types and constants of the nashal library: id widths, capability bits, protocol values,
 * link speed and drive type codes, trace levels, and the enclosure record. Plain C, usable from
 * C11 and C++17. */
#ifndef NASHAL_HAL_TYPES_H
#define NASHAL_HAL_TYPES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Text limits that recur through the library (bytes, terminator included). */
#define HAL_ID_LEN 32          /* enc_sys_id, pd_sys_id, model values */
#define HAL_SERIAL_LEN 33      /* serial numbers */
#define HAL_MODEL_LEN 41       /* model names */
#define HAL_NAME_LEN 64        /* file and section names */
#define HAL_CMD_LEN 80         /* shell commands */
#define HAL_SYSFS_PATH_LEN 512 /* sysfs paths */

/* Largest arrays the enumerations hand back (texts the caller frees one by one). */
#define MAX_SE_SYS_ENUM 16
#define MAX_PD_SYS_ENUM 24
#define MAX_PRT_SYS_ENUM 16

/* Trace levels: bits, not ranks. */
#define HAL_TRACE_ERROR 1
#define HAL_TRACE_WARN 2
#define HAL_TRACE_CALL 4
#define HAL_TRACE_INFO 8
#define HAL_TRACE_DETAIL 16
#define HAL_TRACE_ALWAYS 65535
#define HAL_TRACE_DEFAULT_MASK 11

/* Capability word of an enclosure ("CAP" in the model file, `capability` in /etc/hal.conf). */
#define CAP_REDUNDANT_POWER 0x1u
#define CAP_EUP 0x8u
#define CAP_NO_SAS_EXPANDER 0x80u
#define CAP_NO_ESATA 0x200u
#define CAP_INTERNAL_SAS 0x400u
#define CAP_LCD 0x4000u
#define CAP_PCIE_EXPANSION 0x8000u
#define CAP_MCU 0x10000u
#define CAP_USB_EXPANDER_PIC 0x100000u
#define CAP_PIC 0x400000u
#define CAP_PCIE_WIFI 0x800000u
#define CAP_NO_POWER_POLL 0x1000000u
#define CAP_CACHE_ENCLOSURE 0x8000000u
#define CAP_INTERNAL 0x80000000u

/* How an enclosure is attached. */
#define ENC_PROTOCOL_BOOT (-1)
#define ENC_PROTOCOL_ROOT 0
#define ENC_PROTOCOL_SATA 1
#define ENC_PROTOCOL_USB 2
#define ENC_PROTOCOL_SAS 3
#define ENC_PROTOCOL_PCIE 5
#define ENC_PROTOCOL_THUNDERBOLT 6

/* Kinds of disk. */
#define PD_TYPE_SATA 0
#define PD_TYPE_SAS 1
#define PD_TYPE_USB 2

/* Link speed codes. */
#define PD_LINK_SPEED_UNKNOWN 0
#define PD_LINK_SPEED_USB_1_5M 1
#define PD_LINK_SPEED_USB_12M 2
#define PD_LINK_SPEED_USB_480M 3
#define PD_LINK_SPEED_USB_5G 4
#define PD_LINK_SPEED_1_5G 5
#define PD_LINK_SPEED_3G 6
#define PD_LINK_SPEED_6G 7
#define PD_LINK_SPEED_12G 8

/* Drive type codes of the model value "DISK_DRV_TYPE". */
#define DISK_DRV_TYPE_USB 1
#define DISK_DRV_TYPE_ATA 2
#define DISK_DRV_TYPE_SCSI 3
#define DISK_DRV_TYPE_SAS 4
#define DISK_DRV_TYPE_FLASH 5

/* A disk's global id: enc_id in the upper sixteen bits, port_id in the lower. */
#define HAL_PD_ID(enc_id, port_id) \
    ((int32_t)((((uint32_t)(enc_id)) << 16) | (((uint32_t)(port_id)) & 0xffffu)))

/* Most external SAS connectors an enclosure reports. */
#define MAX_CONN_NUM 8

/* The description of one enclosure. Owned and cleared by the caller. */
typedef struct ENC_INFO {
    int32_t enc_id;
    int32_t stack_id;
    char enc_parent_sys_id[32];
    int32_t enc_parent_port_id;
    char enc_sys_id[32];
    unsigned char wwn[33];
    char vendor[32];
    char model[41];
    char serial[33];
    char revision[16];
    uint32_t conn_status[MAX_CONN_NUM];
    int32_t status;
    uint32_t capability;
    int32_t protocol;
    int32_t max_disk_num;
    int32_t max_fan_num;
    int32_t max_temp_num;
    int32_t max_pcie_num;
    int32_t max_nic_num;
    int32_t max_conn_num;
    uint32_t cache_port_bitmap;
    int32_t ss_max_channels;
    int32_t ss_free_channels;
} ENC_INFO;

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_TYPES_H */
