/* The motherboard facade: the main unit's identity, network ports, processor, SAS controller,
 * expander and battery, spoken of without an enclosure. Each call works on "root" (or
 * "root_usb", "root_esata" for the USB and eSATA ports) and most forward to the enclosure
 * backend, whose result they return.
 *
 * USB and eSATA ports are numbered from 0 here; their port_ids in the registry are one higher. */
#ifndef NASHAL_HAL_MB_H
#define NASHAL_HAL_MB_H

#include <nashal/hal_types.h>
#include <nashal/se_bbu.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The temperatures (degrees Celsius) at which the appliance shuts down, from section
 * "SHUTDOWN TEMP" of /etc/hal_util.conf, keys "CPU_TEMP", "SYS_TEMP", "DISK_TEMP" and
 * "POWER_TEMP"; 100 where a key is missing. */
#define HAL_UTIL_CONF_FILE "/etc/hal_util.conf"
typedef struct {
    int32_t cpu;
    int32_t sys;
    int32_t disk;
    int32_t power;
} HAL_TEMP_PROFILE;

/* Identity of the main unit. */
int HAL_MB_Set_Serial_No(const char *serial);
int HAL_MB_Get_Serial_No(char *buffer, int size);
int HAL_MB_Get_Display_Name(char *buffer, int size);
/* MAC address text of network port `port` (0 is eth0). */
int HAL_MB_Get_NIC_MAC(int port, char *buffer, int size);
int HAL_MB_Set_NIC_MAC(int port, const char *mac);
/* Link speed code of eth<port> (net_sys.h). */
int HAL_MB_Get_NIC_Speed(int port, int *code);

/* Link of PCIe slot `slot` (from 0): speed code, width, and the slot's widest link. */
int HAL_MB_Get_PCIe_Info(int slot, int *link_speed, int *link_width, int *max_width);
/* 1 when the memory in use has ECC, else 0. */
int HAL_MB_ECC_Mem_Installed(void);
int HAL_MB_Get_CPU_Info(char *buffer, int size);
/* MHz. */
int HAL_MB_Get_CPU_Speed(int *speed);

/* Counts from the registered records; 0 when the enclosure isn't registered. */
int HAL_MB_Get_PCIe_Slot_Count(void);
int HAL_MB_Get_NIC_Count(void);
int HAL_MB_Get_USB_Count(void);
int HAL_MB_Get_eSATA_Count(void);
/* The disk's device name in USB (eSATA) port `port`; -1 if the enclosure isn't registered. */
int HAL_MB_Get_USB_Sys_Name(int port, char *buffer, int size);
int HAL_MB_Get_eSATA_Sys_Name(int port, char *buffer, int size);
/* Non-zero (the port's bit, 1 << (port + 1)) for a SuperSpeed USB port; 0 otherwise or when the
 * map can't be read. */
int HAL_MB_Is_USB_Port_3_0(int port);
/* The ids of the enclosures hanging on USB port `port` into enc_ids; their count. */
int MB_SE_Enum_By_Root_USB_Port(int port, int *enc_ids, int capacity);
/* Enumeration callback of the above: 0 for a USB enclosure on "root_usb" port `port_id`
 * (the registry's numbering, carried in the cookie pointer itself: (void *)(intptr_t)port_id),
 * -2 for any other. */
int mb_se_usb_port_filter(int enc_id, void *port_id);

/* The unit's own SAS controller and expander (CAP_INTERNAL_SAS). */
int HAL_MB_Get_SAS_Addr(char *buffer, int size);
int HAL_MB_Set_SAS_Addr(const char *address);
int HAL_MB_Get_Expander_SAS_Addr(char *buffer, int size);
int HAL_MB_Set_Expander_SAS_Addr(const char *address);
int HAL_MB_Get_External_SAS_Info(int *connector_count, int *ports_in_connector);
int HAL_MB_Get_External_SAS_PD_Sys_Name(int connector, int port_in_connector, char *name, int size);
int HAL_MB_Get_SAS_Expander_FW_Version(char *buffer, int size);
int HAL_MB_Upgrade_SAS_Expander_FW(const char *image, char *version, int size);
/* SAS host adapters: slot 0 the internal one, others the PCIe slots. */
int HAL_MB_Get_SAS_HBA_FW_Version(int slot, char *buffer, int size);
int HAL_MB_Upgrade_SAS_HBA_FW(int slot, const char *image, char *version, int version_size,
                              int sas_version);

/* The battery backup unit. */
int HAL_MB_Set_BBU_Status_LED(int colour, int index, int enable);
int HAL_MB_Charge_BBU(int enable);
int HAL_MB_Discharge_BBU(int enable);
int HAL_MB_Get_BBU_Status(BBU_STATUS *status);

/* Always 0. */
int HAL_MB_Get_Temp_Profile(HAL_TEMP_PROFILE *profile);
/* "ss_max_channels" and "ss_free_channels" of "Enclosure_0" in /etc/hal.conf; both outputs
 * start at 0; -1 if either is missing. */
int HAL_MB_Get_SS_Profile(int *max_channels, int *free_channels);

/* Network ports. Net_Scan renames the interfaces to the model's order (net_sys_enumerate).
 * Net_NIC_Get_Count counts wired ports for type 0 or 2, else 0. The other three remain in the
 * interface but always fail: use the HAL_MB_ forms. */
int Net_Scan(void);
int Net_NIC_Get_Count(int type);
int Net_NIC_Get_Speed(int port, int *code);
int Net_NIC_Get_MAC(int port, char *buffer, int size);
int Net_NIC_Set_MAC(int port, const char *mac);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_MB_H */
