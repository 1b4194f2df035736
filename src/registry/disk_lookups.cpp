// A disk known by its kernel name, its device number or its WWN, turned into the registry's
// (enc_id, port_id) and back. The serial number and WWN by device number deliberately ask the
// disk itself and not the registry: their callers want what the disk reports now.
#include <cstdio>
#include <cstring>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"

namespace {

constexpr int kDiskNameLen = HAL_ID_LEN;

// The live record of the disk behind a device number: name, backend ids, then the backend's
// PD_INFO. 0, or -1 with the trace of the step that failed.
int live_disk_info(const char *who, uint64_t dev_no, PD_INFO *info) {
    long long major = PD_DEV_NO_MAJOR(dev_no);
    long long minor = PD_DEV_NO_MINOR(dev_no);
    char name[kDiskNameLen] = {};
    if (PD_Get_Sys_Name_By_Dev_No(dev_no, name, sizeof name) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: fail to get sys name for dev_no(%lld, %lld)!\n", who, major,
                  minor);
        return -1;
    }
    char enc_sys_id[HAL_ID_LEN] = {};
    char pd_sys_id[HAL_ID_LEN] = {};
    if (pd_sys_get_sys_id_by_sys_name(name, enc_sys_id, pd_sys_id) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: fail to get sys identifier for dev_no(%lld, %lld)!\n", who,
                  major, minor);
        return -1;
    }
    memset(info, 0, sizeof *info);
    if (pd_sys_getinfo(enc_sys_id, pd_sys_id, info) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: fail to get pd_info for dev_no(%lld, %lld)!\n", who, major,
                  minor);
        return -1;
    }
    return 0;
}

// A name of the disk recorded under a WWN in the index of /etc/hal.conf, by the registry getter.
int name_of_wwn(const char *wwn, int (*get)(int, int, char *, int), char *buffer, int size) {
    uint32_t pd_id = 0;
    int enc_id = -1;
    int port_id = -1;
    if (se_read_pd_wwn_index(wwn, &pd_id) != 0 || se_get_enc_pd_id(pd_id, &enc_id, &port_id) != 0)
        return -1;
    return get(enc_id, port_id, buffer, size);
}

}  // namespace

extern "C" int PD_Get_Id_By_Sys_Name(const char *name, int *enc_id, int *port_id) {
    char enc_sys_id[HAL_ID_LEN] = {};
    char pd_sys_id[HAL_ID_LEN] = {};
    // A partition in the name is the backend's to treat: it resolves the block device's disk.
    if (!name || pd_sys_get_sys_id_by_sys_name(name, enc_sys_id, pd_sys_id) != 0)
        return -1;
    return PD_Get_Id_By_Sys_Id(enc_sys_id, pd_sys_id, enc_id, port_id);
}

extern "C" int PD_Get_Id_By_Dev_No(uint64_t dev_no, int *enc_id, int *port_id) {
    char name[kDiskNameLen] = {};
    if (PD_Get_Sys_Name_By_Dev_No(dev_no, name, sizeof name) != 0)
        return -1;
    return PD_Get_Id_By_Sys_Name(name, enc_id, port_id);
}

extern "C" int PD_Is_Exist_By_Sys_Name(const char *name) {
    int enc_id = -1;
    int port_id = -1;
    if (PD_Get_Id_By_Sys_Name(name, &enc_id, &port_id) != 0)
        return 0;
    return PD_Is_Exist(enc_id, port_id) ? 1 : 0;
}

extern "C" int PD_Get_Serial_No_By_Dev_No(uint64_t dev_no, char *buffer, int size) {
    PD_INFO info;
    if (!buffer || size <= 0 || live_disk_info(__func__, dev_no, &info) != 0)
        return -1;
    // Copied as strncpy would, padded with zeros to the caller's size: a serial number that
    // fills the caller's buffer has no terminator, and callers have always added their own.
    size_t len = strnlen(info.serial_no, sizeof info.serial_no);
    if (len > static_cast<size_t>(size))
        len = static_cast<size_t>(size);
    memcpy(buffer, info.serial_no, len);
    memset(buffer + len, 0, static_cast<size_t>(size) - len);
    return 0;
}

extern "C" int PD_Get_WWN_By_Dev_No(uint64_t dev_no, char *buffer, int size) {
    PD_INFO info;
    if (!buffer || size <= 0 || live_disk_info(__func__, dev_no, &info) != 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    auto n = static_cast<size_t>(size);
    if (info.capabilities & PD_CAP_WWN) {
        snprintf(buffer, n, "%02X%02X%02X%02X%02X%02X%02X%02X", info.wwn[0], info.wwn[1],
                 info.wwn[2], info.wwn[3], info.wwn[4], info.wwn[5], info.wwn[6], info.wwn[7]);
        return 0;
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s: WWN not support for dev_no(%lld, %lld)!\n", __func__,
              static_cast<long long>(PD_DEV_NO_MAJOR(dev_no)),
              static_cast<long long>(PD_DEV_NO_MINOR(dev_no)));
    // The registry names such a disk by its serial number; with none either, there is nothing.
    snprintf(buffer, n, "%.*s", static_cast<int>(sizeof info.serial_no), info.serial_no);
    return buffer[0] ? 0 : -1;
}

extern "C" int PD_Is_In_Root_By_Dev_No(uint64_t dev_no) {
    char name[kDiskNameLen] = {};
    char enc_sys_id[HAL_ID_LEN] = {};
    char pd_sys_id[HAL_ID_LEN] = {};
    if (PD_Get_Sys_Name_By_Dev_No(dev_no, name, sizeof name) != 0 ||
        pd_sys_get_sys_id_by_sys_name(name, enc_sys_id, pd_sys_id) != 0)
        return 0;
    return strcmp(enc_sys_id, "root") == 0 ? 1 : 0;
}

extern "C" int PD_Is_In_Root(int enc_id) {
    return enc_id == 0 ? 1 : 0;
}

// The chassis's front port is port 1 of "root_usb"; a hub plugged there is an enclosure whose
// parent is that port.
extern "C" int PD_Is_In_Front_Of_Root_USB(int enc_id, int port_id) {
    char enc_sys_id[HAL_ID_LEN] = {};
    if (se_lookup_sys_id(enc_id, enc_sys_id, sizeof enc_sys_id) != 0)
        return 0;
    int parent_port = 0;
    char parent[HAL_ID_LEN] = {};
    SE_Get_Parent_Port_Id(enc_id, &parent_port);
    SE_Get_Parent_Sys_Id(enc_id, parent, sizeof parent);
    bool direct = port_id == 1 && strcmp(enc_sys_id, "root_usb") == 0;
    bool behind_hub = parent_port == 1 && strcmp(parent, "root_usb") == 0;
    return direct || behind_hub ? 1 : 0;
}

extern "C" int PD_Get_Sys_Name_By_WWN(const char *wwn, char *buffer, int size) {
    return name_of_wwn(wwn, PD_Get_Sys_Name, buffer, size);
}

extern "C" int PD_Get_Ctrl_Name_By_WWN(const char *wwn, char *buffer, int size) {
    return name_of_wwn(wwn, PD_Get_Ctrl_Name, buffer, size);
}
