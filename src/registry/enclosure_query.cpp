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
