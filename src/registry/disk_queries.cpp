// Single answers from a disk's record: ids, names, capacity, link speeds, the log name, and the
// packing of (enc_id, port_id) into a pd_id.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "nashal/ini_conf.h"
#include "registry/disk_files.h"

using namespace nashal::registry;

namespace {

// One text field of a record; -1 with the registry's trace when it is missing.
int get_text(const char *who, int enc_id, int port_id, const char *key, char *buffer, int size,
             bool trace = true) {
    if (!buffer || size <= 0)
        return -1;
    DiskRecord record(enc_id, port_id);
    if (Ini_Conf_Get_Field(record.file, record.section, key, buffer, size) > 0)
        return 0;
    if (trace)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", who, key);
    return -1;
}

bool get_number(const char *who, int enc_id, int port_id, const char *key, long long *out) {
    char text[HAL_ID_LEN];
    if (get_text(who, enc_id, port_id, key, text, sizeof text) != 0)
        return false;
    *out = strtoll(text, nullptr, 10);
    return true;
}

}  // namespace

extern "C" {

uint32_t se_gen_global_pd_id(int enc_id, int port_id) {
    return (static_cast<uint32_t>(enc_id) << 16) | (static_cast<uint32_t>(port_id) & 0xffffu);
}

int se_get_enc_pd_id(uint32_t pd_id, int *enc_id, int *port_id) {
    if (!enc_id || !port_id)
        return -1;
    *enc_id = static_cast<int>(pd_id >> 16);
    *port_id = static_cast<int>(pd_id & 0xffffu);
    return 0;
}

int PD_Is_Exist(int enc_id, int port_id) {
    DiskRecord record(enc_id, port_id);
    char text[HAL_ID_LEN];
    return Ini_Conf_Get_Field(record.file, record.section, "port_id", text, sizeof text) > 0 ? 1
                                                                                             : 0;
}

int pd_lookup_id(const char *enc_sys_id, const char *pd_sys_id) {
    if (!enc_sys_id || !pd_sys_id)
        return -1;
    int enc_id = se_lookup_id(enc_sys_id);
    if (enc_id < 0)
        return -1;
    char file[kNameLen];
    snprintf(file, sizeof file, "/etc/enclosure_%d.conf", enc_id);
    PdSysIdField field(pd_sys_id);
    int32_t port_id = -1;
    if (Ini_Conf_Get_Field_Int(file, kIndex, field.name, &port_id, INI_CONF_DEC) <= 0)
        return -1;
    return port_id;
}

int PD_Get_Id_By_Sys_Id(const char *enc_sys_id, const char *pd_sys_id, int *enc_id, int *port_id) {
    if (!enc_id || !enc_sys_id || !pd_sys_id)
        return -1;
    int enc = se_lookup_id(enc_sys_id);
    int port = pd_lookup_id(enc_sys_id, pd_sys_id);
    if (enc < 0 || port < 0)
        return -1;
    *enc_id = enc;
    if (port_id)
        *port_id = port;
    return 0;
}

int pd_get_sys_id(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_sys_id", buffer, size);
}

int pd_get_port_type(int enc_id, int port_id, int *type) {
    long long value = 0;
    if (!type || !get_number(__func__, enc_id, port_id, "type", &value))
        return -1;
    *type = static_cast<int>(value);
    return 0;
}

int PD_Get_Model(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "model", buffer, size);
}

int PD_Get_Serial_No(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "serial_no", buffer, size);
}

int PD_Get_Sys_Name(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_sys_name", buffer, size);
}

int PD_Get_Ctrl_Name(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_ctrl_name", buffer, size);
}

int PD_Get_Bus_Name(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_bus_name", buffer, size);
}

int PD_Get_WWN(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "wwn", buffer, size, false);
}

int PD_Get_Capacity(int enc_id, int port_id, int64_t *capacity, int *sector_size) {
    long long value = 0;
    if (capacity) {
        if (!get_number(__func__, enc_id, port_id, "capacity", &value))
            return -1;
        *capacity = value;
    }
    if (sector_size) {
        if (!get_number(__func__, enc_id, port_id, "sector_size", &value))
            return -1;
        *sector_size = static_cast<int>(value);
    }
    return 0;
}

int PD_Get_Link_Speed(int enc_id, int port_id) {
    long long value = 0;
    return get_number(__func__, enc_id, port_id, "link_speed", &value) ? static_cast<int>(value)
                                                                       : 0;
}

int PD_Get_Max_Link_Speed(int enc_id, int port_id) {
    long long value = 0;
    return get_number(__func__, enc_id, port_id, "max_link_speed", &value) ? static_cast<int>(value)
                                                                           : 0;
}

char *PD_Get_Size_Str(int enc_id, int port_id, int unit_id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return buffer;
    int64_t capacity = 0;
    int sector_size = 0;
    if (PD_Get_Capacity(enc_id, port_id, &capacity, &sector_size) != 0) {
        snprintf(buffer, static_cast<size_t>(size), "N/A");
        return buffer;
    }
    return Get_Size_Str(static_cast<uint64_t>(capacity), static_cast<uint64_t>(sector_size),
                        unit_id, buffer, size);
}

char *PD_Get_Log_Name(int enc_id, int port_id, char *buffer, int size) {
    if (!buffer)
        return nullptr;
    uint32_t pcie_cache = 0;
    if (SE_Get_Pci_Cache_Enc_Id(&pcie_cache) != 0)
        pcie_cache = 0;
    char log_name[HAL_ID_LEN] = "";
    SE_Get_Log_Name(enc_id, log_name, sizeof log_name);
    // A 32-bit mask: ids of 32 or more test as its top bit.
    int bit = enc_id >= 32 ? 31 : enc_id;
    auto n = static_cast<size_t>(size);
    if (enc_id == 0) {
        snprintf(buffer, n, "%s: Drive%d", log_name, port_id);
    } else if (enc_id == SE_Get_Cache_Enc_Id()) {
        snprintf(buffer, n, "%s: Interal Cache Module%d", log_name, port_id);
    } else if (enc_id >= 0 && ((pcie_cache >> bit) & 1u)) {
        char enc_sys_id[HAL_ID_LEN] = "";
        se_lookup_sys_id(enc_id, enc_sys_id, sizeof enc_sys_id);
        size_t len = strlen(enc_sys_id);
        snprintf(buffer, n, "%s: PCIe%s Disk%d", log_name, len ? enc_sys_id + len - 1 : "",
                 port_id);
    } else {
        snprintf(buffer, n, "%s#%d: Drive%d", log_name, enc_id, port_id);
    }
    return buffer;
}

int PD_Is_Report_Healthy(int value) {
    int asc = value >> 8;
    return asc == 0x5D || asc == 0x0B ? 0 : 1;
}

}  // extern "C"
