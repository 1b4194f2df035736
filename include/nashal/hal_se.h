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

/* Disks that left with their enclosure. */
int SE_Hotswap_Check_PD(int enc_id, int port_id);
int SE_Hotswap_Clear_Enc(int enc_id);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_SE_H */
