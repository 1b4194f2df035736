// Reading an enclosure's description back from /etc/hal.conf.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

namespace {

void read_text(const char *section, const char *field, char *out, int size) {
    Ini_Conf_Get_Field(HAL_CONF_FILE, section, field, out, size);
}

template <typename T>
void read_int(const char *section, const char *field, T *out, int format = INI_CONF_DEC) {
    int32_t value = 0;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, section, field, &value, format) > 0)
        *out = static_cast<T>(value);
}

// "0x1,0x2,...": the words after the first go into the record while it has room. The stored text
// may list more words than the record holds (it is read through 32 bytes anyway); the rest is
// dropped rather than written past the array.
void read_conn_status(const char *section, ENC_INFO *info) {
    char text[kValueLen] = {};
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, section, "conn_status", text, sizeof text) <= 0)
        return;
    char *save = nullptr;
    int n = 0;
    for (char *word = strtok_r(text, ",", &save); word && n < MAX_CONN_NUM;
         word = strtok_r(nullptr, ",", &save))
        info->conn_status[n++] = static_cast<uint32_t>(strtoul(word, nullptr, 16));
}

}  // namespace

// se_read_conf: fields that are missing keep the caller's value; only enc_id and enc_sys_id
// are required.
extern "C" int SE_Get_Info(int enc_id, ENC_INFO *info) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    if (!info)
        return -1;
    EnclosureSection s(enc_id);
    int result = 0;
    int32_t id = 0;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, s.name, "enc_id", &id, INI_CONF_DEC) > 0)
        info->enc_id = id;
    else
        result = -1;
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, s.name, "enc_sys_id", info->enc_sys_id,
                           sizeof info->enc_sys_id) <= 0)
        result = -1;

    read_text(s.name, "enc_parent_sys_id", info->enc_parent_sys_id, sizeof info->enc_parent_sys_id);
    read_text(s.name, "wwn", reinterpret_cast<char *>(info->wwn), sizeof info->wwn);
    read_text(s.name, "serial", info->serial, sizeof info->serial);
    read_text(s.name, "vendor", info->vendor, sizeof info->vendor);
    read_text(s.name, "model", info->model, sizeof info->model);
    read_text(s.name, "revision", info->revision, sizeof info->revision);
    read_int(s.name, "status", &info->status);
    read_int(s.name, "protocol", &info->protocol);
    read_int(s.name, "capability", &info->capability, INI_CONF_HEX);
    read_int(s.name, "max_disk_num", &info->max_disk_num);
    read_int(s.name, "max_fan_num", &info->max_fan_num);
    read_int(s.name, "max_temp_num", &info->max_temp_num);
    read_int(s.name, "max_pcie_num", &info->max_pcie_num);
    read_int(s.name, "max_nic_num", &info->max_nic_num);
    read_int(s.name, "enc_parent_port_id", &info->enc_parent_port_id);
    read_int(s.name, "stack_id", &info->stack_id);
    read_int(s.name, "max_conn_num", &info->max_conn_num);
    if (info->max_conn_num != 0)
        read_conn_status(s.name, info);
    uint32_t bitmap = 0;
    read_int(s.name, "cache_port_bitmap", &bitmap, INI_CONF_HEX);
    info->cache_port_bitmap = bitmap;
    return result;
}
