// A disk's record: written by pd_write_conf, where a disk gets its port_id, removed by
// pd_remove_conf, read back by PD_Get_Info. One table of fields serves all three.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nashal/hal_pd.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/disk_files.h"

namespace nashal::registry {

#define PD_FIELD(key, kind, member, required) \
    { key, PdFieldKind::kind, offsetof(PD_INFO, member), sizeof(PD_INFO::member), required }

const PdField kPdFields[] = {
    PD_FIELD("port_id", kInt, port_id, true),
    PD_FIELD("pd_sys_id", kText, pd_sys_id, true),
    PD_FIELD("enc_sys_id", kText, enc_sys_id, true),
    PD_FIELD("pd_sys_name", kText, pd_sys_name, false),
    PD_FIELD("pd_ctrl_name", kText, pd_ctrl_name, false),
    PD_FIELD("pd_bus_name", kText, pd_bus_name, false),
    PD_FIELD("wwn", kWwn, wwn, false),
    PD_FIELD("type", kInt, type, false),
    PD_FIELD("vendor", kText, vendor, false),
    PD_FIELD("model", kText, model, false),
    PD_FIELD("serial_no", kText, serial_no, false),
    PD_FIELD("status", kInt, status, false),
    PD_FIELD("capabilities", kUint, capabilities, false),
    PD_FIELD("sector_size", kUint, sector_size, false),
    PD_FIELD("capacity", kUint64, capacity, false),
    PD_FIELD("revision", kText, revision, false),
    PD_FIELD("protocol_ver", kUint, protocol_version, false),
    PD_FIELD("link_speed", kInt, speed, false),
    PD_FIELD("max_link_speed", kInt, max_speed, false),
    PD_FIELD("read_speed", kText, read_speed, false),
};
const size_t kPdFieldCount = sizeof kPdFields / sizeof kPdFields[0];

#undef PD_FIELD

}  // namespace nashal::registry

using namespace nashal::registry;

namespace {

// The wwn every disk has: its name in sixteen upper-case digits, else its serial number (32
// bytes at most), else its pd_sys_id.
void wwn_text(const PD_INFO *info, char (&out)[sizeof(PD_INFO::wwn)]) {
    out[0] = '\0';
    if (info->capabilities & PD_CAP_WWN) {
        for (int i = 0; i < 8; ++i)
            snprintf(out + 2 * i, sizeof out - 2 * static_cast<size_t>(i), "%02X", info->wwn[i]);
    }
    if (!out[0])
        snprintf(out, sizeof out, "%.32s", info->serial_no);
    if (!out[0])
        snprintf(out, sizeof out, "%s", info->pd_sys_id);
}

void write_field(const DiskRecord &r, const char *key, const char *value) {
    if (Ini_Conf_Set_Field(r.file, r.section, key, value) < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Ini_Conf_Set_Field(%s, %s, %s, %s) error!\n",
                  "pd_write_conf", __LINE__, r.file, r.section, key, value);
}

// The value of one field as written; false for a field a boot disk doesn't have.
bool field_value(const PdField &f, const PD_INFO *info, bool boot, char *out, size_t size) {
    const auto *base = reinterpret_cast<const unsigned char *>(info) + f.offset;
    switch (f.kind) {
        case PdFieldKind::kText:
            snprintf(out, size, "%.*s", static_cast<int>(f.size),
                     reinterpret_cast<const char *>(base));
            return true;
        case PdFieldKind::kInt:
            snprintf(out, size, "%d", *reinterpret_cast<const int32_t *>(base));
            return true;
        case PdFieldKind::kUint:
            snprintf(out, size, "%u", *reinterpret_cast<const uint32_t *>(base));
            return true;
        case PdFieldKind::kUint64:
            snprintf(out, size, "%lld",
                     static_cast<long long>(*reinterpret_cast<const uint64_t *>(base)));
            return true;
        case PdFieldKind::kWwn:
            return !boot;
    }
    return false;
}

void write_record(int enc_id, int port_id, bool boot, const char *file, const PD_INFO *info) {
    DiskRecord record(enc_id, port_id, boot);
    for (size_t i = 0; i < kPdFieldCount; ++i) {
        const PdField &f = kPdFields[i];
        char value[kNameLen + 16];
        if (!field_value(f, info, boot, value, sizeof value))
            continue;
        if (f.kind == PdFieldKind::kWwn) {
            char wwn[sizeof(PD_INFO::wwn)];
            wwn_text(info, wwn);
            write_field(record, f.key, wwn);
            se_write_pd_wwn_index(enc_id, port_id, wwn);
            continue;
        }
        write_field(record, f.key, value);
    }
    if (!boot) {
        PdSysIdField field(info->pd_sys_id);
        char value[16];
        snprintf(value, sizeof value, "%d", port_id);
        if (Ini_Conf_Set_Field(file, kIndex, field.name, value) < 0)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Ini_Conf_Set_Field(%s, %s, %s, %s) error!\n",
                      "pd_write_conf", __LINE__, file, kIndex, field.name, value);
    }
}

int place_and_write(int enc_id, int port_id, bool boot, const char *file, PD_INFO *info) {
    // Two USB disks can report the same port; the second takes a number of its own below. The
    // same device found there already (by the other of two racing attaches) is no second disk.
    if (info->type == PD_TYPE_USB && !boot && port_id >= 0 &&
        Ini_Conf_Bitmap_Is_Bit_Set(file, kIndex, kPdBitmap, port_id)) {
        DiskRecord taken(enc_id, port_id);
        char holder[kValueLen] = "";
        Ini_Conf_Get_Field(file, taken.section, "pd_sys_id", holder, sizeof holder);
        if (strcmp(holder, info->pd_sys_id) != 0)
            port_id = -1;
    }
    if (!boot && port_id >= 0) {
        if (Ini_Conf_Bitmap_Is_Bit_Set(file, kIndex, kPdBitmap, port_id)) {
            ERR_TRACE(HAL_TRACE_WARN,
                      "%s(%d):enc_id = %d,port_id = %d,conf_file = %s already exist.\n",
                      "pd_write_conf", __LINE__, enc_id, port_id, file);
            return -1;
        }
        if (Ini_Conf_Bitmap_Set_Bit(file, kIndex, kPdBitmap, port_id) < 0)
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Ini_Conf_Bitmap_Set_Bit(%d) error!\n",
                      "pd_write_conf", __LINE__, port_id);
    } else {
        // Boot disks arrive numbered from 1 and are kept from 0. A disk without a place of its
        // own takes a number above every real port.
        int start = boot ? 0 : SE_Get_PD_Port_Num(enc_id) + 1;
        if (boot)
            port_id -= 1;
        if (port_id < 0 &&
            Ini_Conf_Bitmap_Get_Next_Free_Bit(file, kIndex, kPdBitmap, &port_id, start, 1) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s: can't allocate a new physical disk identifier for pd_sys_id = %s!\n",
                      "pd_write_conf", info->pd_sys_id);
            return -1;
        }
    }
    info->port_id = port_id;
    write_record(enc_id, port_id, boot, file, info);
    return 0;
}
}  // namespace

extern "C" {

int pd_write_conf(int enc_id, int port_id, PD_INFO *info) {
    if (!info)
        return -1;
    bool boot = info->capabilities & PD_CAP_BOOT;
    char file[kNameLen];
    if (boot)
        snprintf(file, sizeof file, "%s", HAL_CONF_FILE);
    else
        snprintf(file, sizeof file, "/etc/enclosure_%d.conf", enc_id);
    // A scan and a hot-plug attach may record the same disk from two processes at once. Taking
    // the port and writing the record under the file's write lock keeps each disk recorded
    // once: the second finds the first's record.
    INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(file);
    int result = place_and_write(enc_id, port_id, boot, file, info);
    if (lock)
        Ini_Conf_Unlock_File(lock);
    return result;
}

}  // extern "C"

namespace {

int remove_record(int enc_id, int port_id) {
    DiskRecord record(enc_id, port_id);
    char pd_sys_id[kValueLen];
    if (Ini_Conf_Get_Field(record.file, record.section, "pd_sys_id", pd_sys_id, sizeof pd_sys_id) <=
        0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", "pd_remove_conf", "pd_sys_id");
        return 0;
    }
    char wwn[sizeof(PD_INFO::wwn)];
    if (PD_Get_WWN(enc_id, port_id, wwn, sizeof wwn) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve wwn of (%d,%d)!\n", "pd_remove_conf", enc_id,
                  port_id);
    else
        se_remove_pd_wwn_index(wwn);
    PdSysIdField field(pd_sys_id);
    if (Ini_Conf_Remove_Field(record.file, kIndex, field.name) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove field %s!\n", "pd_remove_conf", field.name);
    if (Ini_Conf_Bitmap_Reset_Bit(record.file, kIndex, kPdBitmap, port_id) == 0)
        Ini_Conf_Remove_Section(record.file, record.section);
    return 0;
}

}  // namespace

extern "C" {

// Under the same write lock as pd_write_conf: a scan forgetting a disk and a hot-plug attach
// recording it never interleave within one record.
int pd_remove_conf(int enc_id, int port_id, void *) {
    DiskRecord record(enc_id, port_id);
    INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(record.file);
    int result = remove_record(enc_id, port_id);
    if (lock)
        Ini_Conf_Unlock_File(lock);
    return result;
}

int PD_Get_Info(int enc_id, int port_id, PD_INFO *info) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d, %d).\n", __func__, enc_id, port_id);
    if (!info)
        return -1;
    DiskRecord record(enc_id, port_id);
    int result = 0;
    for (size_t i = 0; i < kPdFieldCount; ++i) {
        const PdField &f = kPdFields[i];
        auto *base = reinterpret_cast<unsigned char *>(info) + f.offset;
        char text[sizeof(PD_INFO::model)];
        bool found;
        switch (f.kind) {
            case PdFieldKind::kText:
            case PdFieldKind::kWwn:
                found = Ini_Conf_Get_Field(record.file, record.section, f.key,
                                           reinterpret_cast<char *>(base),
                                           static_cast<int>(f.size)) > 0;
                break;
            case PdFieldKind::kUint64:
                found =
                    Ini_Conf_Get_Field(record.file, record.section, f.key, text, sizeof text) > 0;
                if (found)
                    *reinterpret_cast<uint64_t *>(base) =
                        static_cast<uint64_t>(strtoll(text, nullptr, 10));
                break;
            default: {
                // Unsigned fields are written as "%u" and may exceed a signed 32-bit number.
                found =
                    Ini_Conf_Get_Field(record.file, record.section, f.key, text, sizeof text) > 0;
                if (found)
                    *reinterpret_cast<uint32_t *>(base) =
                        static_cast<uint32_t>(strtoll(text, nullptr, 10));
                break;
            }
        }
        if (!found && f.required)
            result = -1;
    }
    return result;
}

}  // extern "C"
