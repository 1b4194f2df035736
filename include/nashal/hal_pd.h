/* The disk registry: one record per disk present now, in /etc/enclosure_%d.conf (boot disks in
 * /etc/hal.conf), found by PD_Scan and by the hot-plug entries, read back by the PD_ calls. A
 * disk is known by (enc_id, port_id), or by pd_id, the pair packed in one word. */
#ifndef NASHAL_HAL_PD_H
#define NASHAL_HAL_PD_H

#include <nashal/hal_types.h>
#include <nashal/pd_sys.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Most disks one scan of an enclosure records. */
#define MAX_PD_SCAN_NUM 24

/* Callback of PD_Enumerate: -1 stops the walk, -2 passes the disk over, anything else takes it. */
typedef int (*PD_ENUM_CB)(int enc_id, int port_id, void *cookie);
/* Callback of PD_Boot_Enumerate, with a block device number. */
typedef int (*PD_DEV_ENUM_CB)(uint64_t dev_no, void *cookie);

/* pd_id: enc_id in the upper sixteen bits, port_id in the lower. */
uint32_t se_gen_global_pd_id(int enc_id, int port_id);
/* -1 if a pointer is null, else 0. */
int se_get_enc_pd_id(uint32_t pd_id, int *enc_id, int *port_id);

/* ---- Attach and detach ---- */

/* Forgets the enclosure's disks and records those the backend finds now (24 at most); 0. */
int PD_Scan(int enc_id);
/* Records one disk and starts /etc/init.d/pd_attach in the background. 0, -1 for bad
 * arguments, or what the backend returned (a quiet -2 for an empty USB bridge). */
int pd_attach(const char *enc_sys_id, const char *pd_sys_id);
/* Removes one disk and starts /etc/init.d/pd_detach; -1 if unknown. */
int pd_detach(const char *enc_sys_id, const char *pd_sys_id);
int pd_detach_by_dev_id(int enc_id, int port_id);
/* Writes the record; a USB disk on a taken port and a boot disk get their port_id here, stored
 * back into info. 0, or -1 for a taken port or no free number. */
int pd_write_conf(int enc_id, int port_id, PD_INFO *info);
/* Removes a record and its index entries; an enumeration callback (cookie unused). 0. */
int pd_remove_conf(int enc_id, int port_id, void *cookie);

/* The WWN index of /etc/hal.conf: "pd_wwn_<wwn>" = pd_id in "%08x". */
int se_write_pd_wwn_index(int enc_id, int port_id, const char *wwn);
/* The pd_id of a WWN into pd_id; 0 or -1. */
int se_read_pd_wwn_index(const char *wwn, uint32_t *pd_id);
int se_remove_pd_wwn_index(const char *wwn);

/* ---- Enumeration ---- */

/* The port_ids of the enclosure's disks into array (may be null) while capacity lasts; the
 * count of disks taken, or -1 when the callback stopped the walk. */
int PD_Enumerate(int enc_id, int *array, int capacity, PD_ENUM_CB callback, void *cookie);
/* The pd_ids of every disk of every attached enclosure. */
int PD_Enumerate_All(uint32_t *array, int capacity, PD_ENUM_CB callback, void *cookie);
/* The device numbers of the block devices sd* of /sys/block. The result of the last callback,
 * or -1 (also without a callback). */
int PD_Boot_Enumerate(uint64_t *array, int capacity, PD_DEV_ENUM_CB callback, void *cookie);

/* ---- Reading a record ---- */

/* Every field into info (the caller clears it; wwn comes back as text). 0, or -1 when port_id,
 * pd_sys_id or enc_sys_id is missing. */
int PD_Get_Info(int enc_id, int port_id, PD_INFO *info);
int PD_Is_Exist(int enc_id, int port_id);
int PD_Get_Id_By_Sys_Id(const char *enc_sys_id, const char *pd_sys_id, int *enc_id, int *port_id);
int pd_get_sys_id(int enc_id, int port_id, char *buffer, int size);
int pd_get_port_type(int enc_id, int port_id, int *type);
int pd_lookup_id(const char *enc_sys_id, const char *pd_sys_id);
int PD_Get_Model(int enc_id, int port_id, char *buffer, int size);
int PD_Get_Serial_No(int enc_id, int port_id, char *buffer, int size);
int PD_Get_Sys_Name(int enc_id, int port_id, char *buffer, int size);
int PD_Get_Ctrl_Name(int enc_id, int port_id, char *buffer, int size);
int PD_Get_Bus_Name(int enc_id, int port_id, char *buffer, int size);
int PD_Get_WWN(int enc_id, int port_id, char *buffer, int size);
/* A null pointer skips its field. */
int PD_Get_Capacity(int enc_id, int port_id, int64_t *capacity, int *sector_size);
/* The stored code, 0 when missing. */
int PD_Get_Link_Speed(int enc_id, int port_id);
int PD_Get_Max_Link_Speed(int enc_id, int port_id);
/* The capacity as text (Get_Size_Str), "N/A" when unknown. Returns buffer. */
char *PD_Get_Size_Str(int enc_id, int port_id, int unit_id, char *buffer, int size);
/* The disk's name in the system log ("Host: Drive3"). Returns buffer, or null. */
char *PD_Get_Log_Name(int enc_id, int port_id, char *buffer, int size);
/* False (0) for a status holding failure prediction (0x5D) or a warning (0x0B) in its upper
 * byte. */
int PD_Is_Report_Healthy(int value);

/* ---- Disks as the kernel knows them ----
 * A dev_no is (major << 8) | minor, the old 16-bit encoding: a minor wider than 8 bits does not
 * fit. SCSI disks take sixteen minors each ("/dev/sdb3": disk 1, partition 3), sixteen disks a
 * major: 8, then 65 to 71, then 128 to 135. Names are "/dev/sd" and a base-26 suffix. */
#define PD_DEV_NO(major, minor) ((((uint64_t)(major)) << 8) | (uint64_t)(minor))
#define PD_DEV_NO_MAJOR(dev_no) ((int)((dev_no) >> 8))
#define PD_DEV_NO_MINOR(dev_no) ((int)((dev_no)&0xff))

/* The number in /sys/block/NAME/dev (name without "/dev/"), or 0. */
uint64_t pd_get_dev_no_from_sysfs(const char *name);
/* Arithmetic only, no look at the system. 0 or -1. */
int PD_Get_Sys_Name_By_Dev_No(uint64_t dev_no, char *buffer, int size);
int PD_Get_Dev_No_By_Sys_Name(const char *name, uint64_t *dev_no);
/* prefix and the base-26 suffix of index into buffer; -22 when it does not fit, else 0. */
int pd_format_disk_name(const char *prefix, int index, char *buffer, int size);
/* Registry, then arithmetic. */
int PD_Get_Dev_No_By_Id(int enc_id, int port_id, uint64_t *dev_no);
/* The backend finds the disk behind the name, the registry its place. */
int PD_Get_Id_By_Sys_Name(const char *name, int *enc_id, int *port_id);
int PD_Get_Id_By_Dev_No(uint64_t dev_no, int *enc_id, int *port_id);
int PD_Is_Exist_By_Sys_Name(const char *name);
/* What the disk reports now, asked of the hardware, not of the registry. */
int PD_Get_Serial_No_By_Dev_No(uint64_t dev_no, char *buffer, int size);
int PD_Get_WWN_By_Dev_No(uint64_t dev_no, char *buffer, int size);
/* 1 if the disk sits in the main unit's own bays ("root"), else 0. */
int PD_Is_In_Root_By_Dev_No(uint64_t dev_no);
int PD_Is_In_Root(int enc_id);
/* 1 if the disk hangs on the chassis's front USB port, directly or behind one hub. */
int PD_Is_In_Front_Of_Root_USB(int enc_id, int port_id);
/* Through the WWN index of /etc/hal.conf. 0 or -1. */
int PD_Get_Sys_Name_By_WWN(const char *wwn, char *buffer, int size);
int PD_Get_Ctrl_Name_By_WWN(const char *wwn, char *buffer, int size);

/* ---- Boot disks (BootDisk_%d of /etc/hal.conf) ---- */
/* The boot disk's device name; reloads the USB host driver once if the disk can't be opened. */
int PD_Get_Boot_Disk(int index, char *buffer, int size);
/* Before any scan: asks the disk backend (pd_sys_get_boot_disk). */
int PD_Get_Boot_Disk_At_Startup(int index, char *buffer, int size);
int PD_Get_Boot_Disk_Serial_No(int index, char *buffer, int size);
/* Sectors and sector size; a system booting from flash has no record and gets 32768 x 512. 0. */
int PD_Get_Boot_Disk_Capacity(int index, int64_t *capacity, int *sector_size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_PD_H */
