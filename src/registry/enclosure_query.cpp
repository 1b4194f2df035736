// Reading an enclosure's description back from /etc/hal.conf.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "foundation/ini_snapshot.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/registry_files.h"

using namespace nashal::registry;
using nashal::ini::Snapshot;

namespace {

// One enclosure's section in one read of the file: a record is taken from one version of it,
// whatever another process sets meanwhile, and costs one read instead of one per field.
struct SectionReader {
    const Snapshot &conf;
    const char *section;

    int text(const char *field, char *out, int size) const {
        return conf.get_field(section, field, out, size);
    }
    template <typename T>
    void number(const char *field, T *out, int format = INI_CONF_DEC) const {
        int32_t value = 0;
        if (conf.get_field_int(section, field, &value, format) > 0)
            *out = static_cast<T>(value);
    }
};

// "0x1,0x2,...": the words after the first go into the record while it has room. The stored text
// may list more words than the record holds (it is read through 32 bytes anyway); the rest is
// dropped rather than written past the array.
void read_conn_status(const SectionReader &s, ENC_INFO *info) {
    char text[kValueLen] = {};
    if (s.text("conn_status", text, sizeof text) <= 0)
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
    EnclosureSection name(enc_id);
    Snapshot conf(HAL_CONF_FILE);
    SectionReader s{conf, name.name};
    int result = 0;
    int32_t id = 0;
    if (conf.get_field_int(name.name, "enc_id", &id, INI_CONF_DEC) > 0)
        info->enc_id = id;
    else
        result = -1;
    if (s.text("enc_sys_id", info->enc_sys_id, sizeof info->enc_sys_id) <= 0)
        result = -1;

    s.text("enc_parent_sys_id", info->enc_parent_sys_id, sizeof info->enc_parent_sys_id);
    s.text("wwn", reinterpret_cast<char *>(info->wwn), sizeof info->wwn);
    s.text("serial", info->serial, sizeof info->serial);
    s.text("vendor", info->vendor, sizeof info->vendor);
    s.text("model", info->model, sizeof info->model);
    s.text("revision", info->revision, sizeof info->revision);
    s.number("status", &info->status);
    s.number("protocol", &info->protocol);
    s.number("capability", &info->capability, INI_CONF_HEX);
    s.number("max_disk_num", &info->max_disk_num);
    s.number("max_fan_num", &info->max_fan_num);
    s.number("max_temp_num", &info->max_temp_num);
    s.number("max_pcie_num", &info->max_pcie_num);
    s.number("max_nic_num", &info->max_nic_num);
    s.number("enc_parent_port_id", &info->enc_parent_port_id);
    s.number("stack_id", &info->stack_id);
    s.number("max_conn_num", &info->max_conn_num);
    if (info->max_conn_num != 0)
        read_conn_status(s, info);
    uint32_t bitmap = 0;
    s.number("cache_port_bitmap", &bitmap, INI_CONF_HEX);
    info->cache_port_bitmap = bitmap;
    return result;
}

namespace {

// One field of the enclosure's section in /etc/hal.conf.
bool enclosure_text(int enc_id, const char *field, char *buffer, int size) {
    EnclosureSection s(enc_id);
    return buffer && size > 0 && Ini_Conf_Get_Field(HAL_CONF_FILE, s.name, field, buffer, size) > 0;
}

bool enclosure_int(int enc_id, const char *field, int32_t *out, int format = INI_CONF_DEC) {
    EnclosureSection s(enc_id);
    return out && Ini_Conf_Get_Field_Int(HAL_CONF_FILE, s.name, field, out, format) > 0;
}

// A count that answers 0 for an enclosure it can't read: callers size loops with it, and an
// unknown enclosure has nothing to loop over.
int enclosure_count(const char *who, int enc_id, const char *field) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", who, enc_id);
    int32_t value = 0;
    if (!enclosure_int(enc_id, field, &value)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: get enc %d %s = %d!\n", who, enc_id, field, value);
        return 0;
    }
    return value;
}

}  // namespace

extern "C" int SE_Get_Capability(int enc_id, uint32_t *capability) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    int32_t value = 0;
    if (!capability || !enclosure_int(enc_id, "capability", &value, INI_CONF_HEX))
        return -1;
    *capability = static_cast<uint32_t>(value);
    return 0;
}

extern "C" int SE_Get_Parent_Sys_Id(int enc_id, char *buffer, int size) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    return enclosure_text(enc_id, "enc_parent_sys_id", buffer, size) ? 0 : -1;
}

extern "C" int SE_Get_Parent_Port_Id(int enc_id, int *port_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    int32_t value = 0;
    if (!port_id || !enclosure_int(enc_id, "enc_parent_port_id", &value))
        return -1;
    *port_id = value;
    return 0;
}

// Daemons have always been given the decimal enc_id here, and key their own records by it; the
// enclosure's real WWN is only in SE_Get_Info.
extern "C" int SE_Get_WWN(int enc_id, char *buffer, int size) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    return enclosure_text(enc_id, "enc_id", buffer, size) ? 0 : -1;
}

extern "C" int SE_Get_Protocol(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    int32_t value = 0;
    if (!enclosure_int(enc_id, "protocol", &value)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "protocol");
        return -1;
    }
    return value;
}

extern "C" int SE_Get_PD_Port_Num(int enc_id) {
    return enclosure_count(__func__, enc_id, "max_disk_num");
}

extern "C" int SE_Get_FAN_Num(int enc_id) {
    return enclosure_count(__func__, enc_id, "max_fan_num");
}

extern "C" int SE_Get_Model(int enc_id, char *buffer, int size) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    return enclosure_text(enc_id, "model", buffer, size) ? 0 : -1;
}

extern "C" int SE_Get_Cacheable_Port_Bitmap(int enc_id, uint32_t *bitmap) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    if (!bitmap)
        return -1;
    int32_t value = 0;
    bool found = enclosure_int(enc_id, "cache_port_bitmap", &value, INI_CONF_HEX);
    *bitmap = found ? static_cast<uint32_t>(value) : 0;
    return found ? 0 : -1;
}

extern "C" int SE_Is_Exist(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    int32_t value = 0;
    if (!enclosure_int(enc_id, "enc_id", &value)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "enc_id");
        return 0;
    }
    return 1;
}

extern "C" int SE_Is_Removing(int enc_id) {
    int32_t value = 0;
    return enclosure_int(enc_id, "status", &value) && value == SE_STATUS_REMOVING ? 1 : 0;
}

extern "C" int SE_Is_Internal(int enc_id) {
    uint32_t capability = 0;
    return SE_Get_Capability(enc_id, &capability) == 0 && (capability & CAP_INTERNAL) ? 1 : 0;
}

extern "C" int SE_Is_USB_JBOD(int enc_id) {
    return SE_Is_Internal(enc_id) && SE_Get_Protocol(enc_id) == ENC_PROTOCOL_USB ? 1 : 0;
}

extern "C" int SE_Get_PD_Num(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    EnclosureConfFile file(enc_id);
    return Ini_Conf_Bitmap_Get_Set_Count(file.name, kIndex, "pd_bitmap");
}
