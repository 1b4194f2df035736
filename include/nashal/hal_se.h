/* The enclosure registry: SE_ public interface and se_ registry internals.
 *
 * The registry turns the backend's textual enc_sys_id into a small persistent enc_id and keeps
 * what is attached now in /etc/hal.conf; /etc/config/enclosure.map remembers which unique
 * enclosure got which id across scans and reboots. All ids are signed 32-bit integers, all
 * texts are terminated; 0 is success and a negative number failure unless said otherwise. */
#ifndef NASHAL_HAL_SE_H
#define NASHAL_HAL_SE_H

#include <nashal/hal_types.h>
#include <nashal/ini_conf.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Files owned by the registry. */
#define HAL_CONF_FILE "/etc/hal.conf"
#define SE_ENC_MAP_FILE "/etc/config/enclosure.map"
#define SE_DETACHED_FILE "/tmp/.se_detached"
#define SE_ENC_CONF_FORMAT "/etc/enclosure_%d.conf"
#define SE_SYSTEM_CONF_FILE "/etc/config/Vornix.conf"

/* Highest id an internal (CAP_INTERNAL) enclosure may take. */
#define SE_MAX_INTERNAL_ENC_ID 31
/* Stack depth allowed when "Max Stack Num" is missing or below 1. */
#define SE_DEFAULT_MAX_STACK_NUM 4
/* Highest id SE_Is_Id_Available(-1) looks at when "Max Enclosure Id" is missing. */
#define SE_DEFAULT_MAX_ENCLOSURE_ID 31
/* Values of `status`. */
#define SE_STATUS_NORMAL 0
#define SE_STATUS_REMOVING 1

/* Scan and attach. */
int SE_Scan(void);
int se_attach(const char *enc_sys_id, int report_limit);
int se_pre_detach(const char *enc_sys_id);
int se_detach(const char *enc_sys_id);
int se_write_conf(int enc_id, ENC_INFO *info);
int se_get_id(const char *enc_sys_id, int *enc_id, const ENC_INFO *info);
int se_acquire_id(const char *enc_sys_id, int *enc_id, const ENC_INFO *info);

/* Lookups and the read side the registry needs. */
int SE_Enumerate(int *enc_ids, int capacity, INI_CONF_BITMAP_CB callback, void *cookie);
int SE_Get_Info(int enc_id, ENC_INFO *info);
int se_lookup_id(const char *enc_sys_id);
int se_lookup_sys_id(int enc_id, char *enc_sys_id, int size);
int SE_Get_Id_By_Sys_Id(const char *enc_sys_id, int *enc_id);
int se_get_stack_id(const char *enc_sys_id);
int se_get_max_stack_num(void);
/* Field `status` of the enclosure's section. se_set_status has the shape of an enumeration
 * callback: the cookie's pointer value is the status to store, (void *)(intptr_t)1 for
 * "being removed". se_get_status returns the status, -1 if not stored. */
int se_set_status(int enc_id, void *status);
int se_get_status(int enc_id);

/* The persistent map. */
int SE_Get_Unique_Id(const ENC_INFO *info, char *unique_id, int size);
int se_lookup_id_in_persistent_mapping(const ENC_INFO *info);
int se_write_enc_map(int enc_id, const ENC_INFO *info);
int se_release_id_in_persistent_mapping(int enc_id);
int SE_Export_Enc_Map(void);
int SE_Import_Enc_Map(void);
int se_sync_enc_bitmap(void);
int SE_Release_Id(int enc_id);
int SE_Is_Id_Available(int enc_id);

/* The monitoring service's findings about one enclosure, as SE_Get_System_Status reads them from
 * /tmp/em/em_%d.info. -1 is "not known" for every reading; the status codes are below. */
#define SE_STATUS_MAX_FAN 6
#define SE_STATUS_MAX_POWER 2
#define SE_FAN_OK 0
#define SE_FAN_FAILED (-1)
#define SE_FAN_UNKNOWN (-2)
#define SE_POWER_OK 0
#define SE_POWER_FAILED (-1)
#define SE_POWER_UNKNOWN (-3)
typedef struct {
    int32_t temperature[2];
    int32_t fan_num;
    int32_t fan_status[SE_STATUS_MAX_FAN];
    int32_t fan_speed[SE_STATUS_MAX_FAN];
    int32_t power_num;
    int32_t power_status[SE_STATUS_MAX_POWER];
    int32_t power_temperature[SE_STATUS_MAX_POWER];
    int32_t power_fan_speed[SE_STATUS_MAX_POWER];
} SE_SYSTEM_STATUS;

#define SE_EM_INFO_FORMAT "/tmp/em/em_%d.info"
#define SE_UPGRADE_INFO_FILE "/etc/enclosure_upgrade.info"
/* Buzzer modes that the quiet setting silences; every other mode is a warning. */
#define SE_BUZZER_QUIET_MODE_FIRST 100
#define SE_BUZZER_QUIET_MODE_LAST 101

/* Field reads from the enclosure's section of /etc/hal.conf: 0 or -1 unless said otherwise. */
int SE_Get_Capability(int enc_id, uint32_t *capability);
int SE_Get_Parent_Sys_Id(int enc_id, char *buffer, int size);
int SE_Get_Parent_Port_Id(int enc_id, int *port_id);
/* The decimal text of enc_id (not the enclosure's WWN, which only SE_Get_Info shows). */
int SE_Get_WWN(int enc_id, char *buffer, int size);
/* The protocol as the result, -1 when unknown. */
int SE_Get_Protocol(int enc_id);
/* Counts as results; 0 also for an unknown enclosure. */
int SE_Get_PD_Port_Num(int enc_id);
int SE_Get_FAN_Num(int enc_id);
int SE_Get_Model(int enc_id, char *buffer, int size);
int SE_Get_Cacheable_Port_Bitmap(int enc_id, uint32_t *bitmap);
/* 1 or 0. */
int SE_Is_Exist(int enc_id);
int SE_Is_Removing(int enc_id);
int SE_Is_Internal(int enc_id);
int SE_Is_USB_JBOD(int enc_id);
/* Number of disks recorded in /etc/enclosure_%d.conf. */
int SE_Get_PD_Num(int enc_id);

/* Forwarded to the enclosure's backend; -1 when enc_id is not attached. */
int SE_Get_Friendly_Name(int enc_id, char *buffer, int size);
int SE_Set_Friendly_Name(int enc_id, const char *name);
int SE_Get_LCM_Dev_Name(int enc_id, char *buffer, int size);
int SE_Get_Connector_Status(int enc_id, uint32_t *status, int size);
int SE_Send_Heartbeat(int enc_id);
int SE_Get_Serial_No(int enc_id, char *buffer, int size);
int SE_Set_Serial_No(int enc_id, const char *serial);
/* Sounds a pattern unless the appliance's settings silence it; -1 when silenced. */
int SE_Set_Buzzer(int enc_id, int mode);
int SE_Get_System_Status(int enc_id, SE_SYSTEM_STATUS *status);
/* SAS enclosures only; a successful write marks the enclosure in /etc/enclosure_upgrade.info. */
int SE_Upgrade_FW(int enc_id, const char *image, char *version, int version_size);
/* Reboots one SAS enclosure (1, or -1), or every one for -1 (their count). */
int SE_Reboot(int enc_id);
int se_reboot_sas_enclosure(int enc_id, void *cookie);
/* enc_id of the internal cache enclosure, or -1. */
int SE_Get_Cache_Enc_Id(void);
/* ORs a bit for each PCIe cache enclosure (ids below 32) into *bits, which the caller clears. */
int SE_Get_Pci_Cache_Enc_Id(uint32_t *bits);
int se_get_pci_cache_enclosure(int enc_id, void *cookie);
/* "Host" for the main unit and its cache enclosures, "VEXP" for the rest. Returns buffer. */
char *SE_Get_Log_Name(int enc_id, char *buffer, int size);
/* The enclosure's identify lamp as last set, field ident of Global in /etc/enclosure_%d.conf. */
int se_set_enc_ident_status(int enc_id, int value);
int se_get_enc_ident_status(int enc_id);

/* Disks that left with their enclosure. */
int SE_Hotswap_Check_PD(int enc_id, int port_id);
int SE_Hotswap_Clear_Enc(int enc_id);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_SE_H */
