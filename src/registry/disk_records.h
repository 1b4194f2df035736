// What the SMART store and the disk service calls read of the disk and enclosure registries:
// a disk's recorded names and type, its log name, and the enclosure's capability and protocol.
#ifndef NASHAL_REGISTRY_DISK_RECORDS_H
#define NASHAL_REGISTRY_DISK_RECORDS_H

#include <cstdint>

#include "nashal/pd_sys.h"

extern "C" {
int pd_get_sys_id(int enc_id, int port_id, char *buffer, int size);
int pd_get_port_type(int enc_id, int port_id, int *type);
int PD_Get_Info(int enc_id, int port_id, PD_INFO *info);
int PD_Get_Sys_Name(int enc_id, int port_id, char *buffer, int size);
char *PD_Get_Log_Name(int enc_id, int port_id, char *buffer, int size);
int SE_Get_Capability(int enc_id, uint32_t *capability);
int SE_Get_Protocol(int enc_id);
int pd_sys_getinfo(const char *enc_sys_id, const char *pd_sys_id, PD_INFO *pd_info);
}

#endif  // NASHAL_REGISTRY_DISK_RECORDS_H
