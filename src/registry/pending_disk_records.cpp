// Readers of the disk records and enclosure fields that the SMART store and the disk service
// calls need, until the disk registry and the enclosure query interface provide them. Each is
// a weak definition: the registry's own, when it is linked in, takes its place. They read the
// records exactly as those write them (/etc/enclosure_%d.conf, "PhysicalDisk_%d";
// /etc/hal.conf, "Enclosure_%d").
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "foundation/text.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/disk_records.h"
#include "registry/registry_files.h"

#define NASHAL_PENDING __attribute__((weak))

namespace {

using nashal::registry::EnclosureConfFile;
using nashal::registry::EnclosureSection;

struct DiskSection {
    char name[HAL_NAME_LEN];
    explicit DiskSection(int port_id) { snprintf(name, sizeof name, "PhysicalDisk_%d", port_id); }
};

int get_text(const char *who, int enc_id, int port_id, const char *field, char *buf, int size) {
    if (!buf || size <= 0)
        return -1;
    EnclosureConfFile file(enc_id);
    DiskSection section(port_id);
    if (Ini_Conf_Get_Field(file.name, section.name, field, buf, size) < 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", who, field);
        return -1;
    }
    return 0;
}

bool get_int(int enc_id, int port_id, const char *field, int32_t *out) {
    EnclosureConfFile file(enc_id);
    DiskSection section(port_id);
    return Ini_Conf_Get_Field_Int(file.name, section.name, field, out, INI_CONF_DEC) >= 0;
}

}  // namespace

extern "C" NASHAL_PENDING int pd_get_sys_id(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_sys_id", buffer, size);
}

extern "C" NASHAL_PENDING int PD_Get_Sys_Name(int enc_id, int port_id, char *buffer, int size) {
    return get_text(__func__, enc_id, port_id, "pd_sys_name", buffer, size);
}

extern "C" NASHAL_PENDING int pd_get_port_type(int enc_id, int port_id, int *type) {
    int32_t value;
    if (!type || !get_int(enc_id, port_id, "type", &value)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "type");
        return -1;
    }
    *type = value;
    return value;
}

extern "C" NASHAL_PENDING int PD_Get_Info(int enc_id, int port_id, PD_INFO *info) {
    if (!info)
        return -1;
    EnclosureConfFile file(enc_id);
    DiskSection s(port_id);
    auto text = [&](const char *field, char *out, int size) {
        return Ini_Conf_Get_Field(file.name, s.name, field, out, size) >= 0;
    };
    auto number = [&](const char *field, auto *out) {
        int32_t v;
        if (get_int(enc_id, port_id, field, &v))
            *out = static_cast<std::remove_pointer_t<decltype(out)>>(v);
    };
    int result = 0;
    int32_t port;
    if (get_int(enc_id, port_id, "port_id", &port))
        info->port_id = port;
    else
        result = -1;
    if (!text("pd_sys_id", info->pd_sys_id, sizeof info->pd_sys_id))
        result = -1;
    if (!text("enc_sys_id", info->enc_sys_id, sizeof info->enc_sys_id))
        result = -1;
    text("pd_sys_name", info->pd_sys_name, sizeof info->pd_sys_name);
    text("pd_ctrl_name", info->pd_ctrl_name, sizeof info->pd_ctrl_name);
    text("pd_bus_name", info->pd_bus_name, sizeof info->pd_bus_name);
    text("wwn", reinterpret_cast<char *>(info->wwn), sizeof info->wwn);
    number("type", &info->type);
    text("vendor", info->vendor, sizeof info->vendor);
    text("model", info->model, sizeof info->model);
    text("serial_no", info->serial_no, sizeof info->serial_no);
    number("status", &info->status);
    number("capabilities", &info->capabilities);
    number("sector_size", &info->sector_size);
    char capacity[32];
    if (text("capacity", capacity, sizeof capacity))
        info->capacity = static_cast<uint64_t>(strtoll(capacity, nullptr, 10));
    text("revision", info->revision, sizeof info->revision);
    number("protocol_ver", &info->protocol_version);
    number("link_speed", &info->speed);
    number("max_link_speed", &info->max_speed);
    text("read_speed", info->read_speed, sizeof info->read_speed);
    return result;
}

// The disk's name in the system log: "Host: Drive3" for the main unit, "VEXP#2: Drive3" for an
// expansion enclosure. (Cache enclosures get their own names once the enclosure query interface
// tells them apart.)
extern "C" NASHAL_PENDING char *PD_Get_Log_Name(int enc_id, int port_id, char *buffer, int size) {
    if (!buffer)
        return nullptr;
    if (enc_id == 0)
        snprintf(buffer, static_cast<size_t>(size), "%s: Drive%d", "Host", port_id);
    else
        snprintf(buffer, static_cast<size_t>(size), "%s#%d: Drive%d", "VEXP", enc_id, port_id);
    return buffer;
}

extern "C" NASHAL_PENDING int SE_Get_Capability(int enc_id, uint32_t *capability) {
    EnclosureSection s(enc_id);
    int32_t value;
    if (!capability ||
        Ini_Conf_Get_Field_Int(HAL_CONF_FILE, s.name, "capability", &value, INI_CONF_HEX) < 0)
        return -1;
    *capability = static_cast<uint32_t>(value);
    return 0;
}

extern "C" NASHAL_PENDING int SE_Get_Protocol(int enc_id) {
    EnclosureSection s(enc_id);
    int32_t value;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, s.name, "protocol", &value, INI_CONF_DEC) < 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "protocol");
        return -1;
    }
    return value;
}
