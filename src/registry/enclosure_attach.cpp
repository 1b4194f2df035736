// Attaching an enclosure: parent first, the id from the map or a free one, the stack limit, the
// section in /etc/hal.conf, then its disks.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"
#include "registry/pending_scans.h"
#include "registry/registry_files.h"
#include "topology/main_unit_kinds.h"

using namespace nashal::registry;

namespace {

constexpr int kLogCommandLen = 256;

// The enclosures whose attach is under way in this thread, outermost first. The backend never
// names a cycle of parents, but if one did, attaching the parent first would recurse until the
// stack runs out; the repeated enclosure is refused instead, and the rest of the cycle then
// fails the parent's stack id test.
thread_local std::vector<std::string> g_attaching;

struct AttachInProgress {
    explicit AttachInProgress(const char *enc_sys_id) { g_attaching.emplace_back(enc_sys_id); }
    ~AttachInProgress() { g_attaching.pop_back(); }
    AttachInProgress(const AttachInProgress &) = delete;
    AttachInProgress &operator=(const AttachInProgress &) = delete;
};

bool attach_under_way(const char *enc_sys_id) {
    for (const auto &id : g_attaching)
        if (id == enc_sys_id)
            return true;
    return false;
}

// The parent needs no attach of its own when it is a prefix of this enclosure's id (the root for
// its own sub-enclosures, an empty parent, the enclosure itself) or is attached already.
bool parent_is_ready(const char *enc_sys_id, const char *parent) {
    if (strncmp(parent, enc_sys_id, strlen(parent)) == 0)
        return true;
    return se_lookup_id(parent) >= 0;
}

void report_stack_limit(int max) {
    char command[kLogCommandLen];
    if (nashal::hal_build_command(
            "se_attach", command, sizeof command,
            "/sbin/log_tool -a \"One SAS wide port supports maximum %d RAID expansion enclosures "
            "to be daisy-chained together.\" -t 1",
            max) < 0)
        return;
    if (system(command) == -1)
        ERR_TRACE(HAL_TRACE_WARN, "se_attach: can't run %s\n", command);
}

void set_dec(const char *section, const char *field, int value) {
    Ini_Conf_Set_Field_Int(HAL_CONF_FILE, section, field, value, INI_CONF_DEC);
}

void set_hex(const char *section, const char *field, uint32_t value) {
    Ini_Conf_Set_Field_Int(HAL_CONF_FILE, section, field, static_cast<int32_t>(value),
                           INI_CONF_HEX);
}

void set_text(const char *section, const char *field, const char *value) {
    Ini_Conf_Set_Field(HAL_CONF_FILE, section, field, value);
}

// A text of the record fills its array and is terminated only where the writer's limit left
// room: a full vendor or model holds no terminator, and is stored as it stands, never with the
// next field run on.
template <size_t N>
void set_record_text(const char *section, const char *field, const char (&value)[N]) {
    char text[N + 1];
    nashal::hal_copy(text, sizeof text, value, N);
    set_text(section, field, text);
}

}  // namespace

extern "C" int se_write_conf(int enc_id, ENC_INFO *info) {
    if (!info)
        return -1;
    info->enc_id = enc_id;
    EnclosureSection s(enc_id);
    set_dec(s.name, "enc_id", info->enc_id);
    set_record_text(s.name, "enc_sys_id", info->enc_sys_id);
    if (info->wwn[0] != 0) {
        char hex[17];
        for (int i = 0; i < 8; ++i)
            snprintf(hex + 2 * i, 3, "%02X", info->wwn[i]);
        set_text(s.name, "wwn", hex);
    }
    if (info->serial[0] != '\0')
        set_record_text(s.name, "serial", info->serial);
    set_record_text(s.name, "vendor", info->vendor);
    set_record_text(s.name, "model", info->model);
    set_dec(s.name, "status", info->status);
    set_dec(s.name, "protocol", info->protocol);
    set_hex(s.name, "capability", info->capability);
    set_dec(s.name, "max_disk_num", info->max_disk_num);
    set_dec(s.name, "max_fan_num", info->max_fan_num);
    set_dec(s.name, "max_temp_num", info->max_temp_num);
    set_dec(s.name, "max_pcie_num", info->max_pcie_num);
    set_dec(s.name, "max_nic_num", info->max_nic_num);
    set_dec(s.name, "max_conn_num", info->max_conn_num);
    set_record_text(s.name, "enc_parent_sys_id", info->enc_parent_sys_id);
    set_dec(s.name, "enc_parent_port_id", info->enc_parent_port_id);
    set_dec(s.name, "stack_id", info->stack_id);
    set_record_text(s.name, "revision", info->revision);
    set_hex(s.name, "cache_port_bitmap", info->cache_port_bitmap);
    if (enc_id == 0 && info->ss_max_channels != 0 && info->ss_free_channels != 0) {
        set_dec(s.name, "ss_max_channels", info->ss_max_channels);
        set_dec(s.name, "ss_free_channels", info->ss_free_channels);
    }
    if (info->max_conn_num != 0) {
        // The record holds at most MAX_CONN_NUM words whatever the count says.
        int words = info->max_conn_num < MAX_CONN_NUM ? info->max_conn_num : MAX_CONN_NUM;
        std::string text;
        char word[16];
        for (int i = 0; i < words; ++i) {
            snprintf(word, sizeof word, i == 0 ? "0x%x" : ",0x%x", info->conn_status[i]);
            text += word;
        }
        set_text(s.name, "conn_status", text.c_str());
    }

    char own[sizeof info->enc_sys_id + 1];
    char parent_sys_id[sizeof info->enc_parent_sys_id + 1];
    nashal::hal_copy(own, sizeof own, info->enc_sys_id, sizeof info->enc_sys_id);
    nashal::hal_copy(parent_sys_id, sizeof parent_sys_id, info->enc_parent_sys_id,
                     sizeof info->enc_parent_sys_id);
    if (strncmp(own, parent_sys_id, strlen(own)) != 0) {
        int parent_id = se_lookup_id(parent_sys_id);
        if (parent_id >= 0) {
            EnclosureSection parent(parent_id);
            Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, parent.name, "child_bitmap", enc_id);
        }
    }
    SysIdField field(own);
    set_dec(kIndex, field.name, enc_id);
    return 0;
}

extern "C" int se_acquire_id(const char *enc_sys_id, int *enc_id, const ENC_INFO *info) {
    if (!enc_sys_id || !enc_id || !info)
        return -1;
    // The capability's CAP_INTERNAL bit, not the id, tells an enclosure of the main unit.
    int start = 0;
    if (!(info->capability & CAP_INTERNAL))
        start = nashal::topology::kExternalFirstId;
    else if (const auto *row = nashal::topology::main_unit_enclosure(enc_sys_id))
        start = row->first_id;
    int result =
        Ini_Conf_Bitmap_Get_Next_Free_Bit(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id, start, 1);
    if (result != 0)
        return result;
    if (start == 0 && *enc_id > SE_MAX_INTERNAL_ENC_ID) {
        Ini_Conf_Bitmap_Reset_Bit(SE_ENC_MAP_FILE, kIndex, kEncBitmap, *enc_id);
        ERR_TRACE(HAL_TRACE_ERROR,
                  "%s: the allocated enclosure id %d exceeds the max internal enclosure "
                  "identifier %d!\n",
                  __func__, *enc_id, SE_MAX_INTERNAL_ENC_ID);
        *enc_id = -1;
        return -1;
    }
    return se_write_enc_map(*enc_id, info);
}

extern "C" int se_get_id(const char *enc_sys_id, int *enc_id, const ENC_INFO *info) {
    if (!enc_id)
        return -1;
    int existing = se_lookup_id(enc_sys_id);
    if (existing >= 0) {
        *enc_id = existing;
        ERR_TRACE(HAL_TRACE_WARN, "%s: the enclosure id %d for %s exist!\n", __func__, existing,
                  enc_sys_id);
        return -1;
    }
    return se_acquire_id(enc_sys_id, enc_id, info);
}

extern "C" int se_attach(const char *enc_sys_id, int report_limit) {
    int result = -1;
    int id = -1;
    if (!enc_sys_id) {
        // Nothing to look up or ask the backend about; the call still enters and leaves.
        ERR_TRACE(HAL_TRACE_CALL, "%s(%s) entering...\n", __func__, "(null)");
        ERR_TRACE(HAL_TRACE_CALL, "%s(%s) with enc_id = %d leave.\n", __func__, "(null)", id);
        return result;
    }
    ERR_TRACE(HAL_TRACE_CALL, "%s(%s) entering...\n", __func__, enc_sys_id);
    if (attach_under_way(enc_sys_id)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: %s is its own ancestor, ignore the attachment.\n", __func__,
                  enc_sys_id);
        ERR_TRACE(HAL_TRACE_CALL, "%s(%s) with enc_id = %d leave.\n", __func__, enc_sys_id, id);
        return result;
    }
    AttachInProgress under_way(enc_sys_id);
    ENC_INFO info;
    memset(&info, 0, sizeof info);

    if (se_lookup_id(enc_sys_id) < 0 && se_sys_getinfo(enc_sys_id, &info) == 0) {
        // An enc_sys_id is at most 31 characters; the parent's is read and passed on as text.
        info.enc_parent_sys_id[sizeof info.enc_parent_sys_id - 1] = '\0';
        if (!parent_is_ready(enc_sys_id, info.enc_parent_sys_id))
            se_attach(info.enc_parent_sys_id, report_limit);

        id = se_lookup_id_in_persistent_mapping(&info);
        // The map's root is always accepted, with the depth the backend left.
        if (id != 0) {
            const bool hit = id >= 0;
            int parent_stack = se_get_stack_id(info.enc_parent_sys_id);
            if (strcmp(enc_sys_id, "root") != 0 && parent_stack < 0) {
                ERR_TRACE(HAL_TRACE_WARN,
                          "%s: the parent stack id %d is illegal, ignore the attachment.\n",
                          __func__, parent_stack);
                id = -1;
            } else {
                info.stack_id = parent_stack + 1;
                int max = se_get_max_stack_num();
                if (info.stack_id > max) {
                    if (report_limit) {
                        report_stack_limit(max);
                        ERR_TRACE(HAL_TRACE_WARN,
                                  "%s: the current stack id %d exceed the max stack number %d.\n",
                                  __func__, info.stack_id, max);
                    }
                    id = -1;
                } else if (!hit) {
                    // A failed allocation leaves the id at -1 and nothing is attached. If
                    // another process attached the same enclosure since the test above,
                    // se_get_id hands back its id, and this attach writes the same section
                    // again rather than failing a hot-plug event that raced a scan.
                    se_get_id(enc_sys_id, &id, &info);
                    char unique_id[HAL_SERIAL_LEN] = {};
                    SE_Get_Unique_Id(&info, unique_id, sizeof unique_id);
                    ERR_TRACE(HAL_TRACE_INFO,
                              "%s: Enclosure UID:%s is missed in persistent mapping file, "
                              "allocate enc_id = %d.\n",
                              __func__, unique_id, id);
                }
            }
        }
        if (id >= 0) {
            se_write_conf(id, &info);
            result = PD_Scan(id);
            if (info.protocol == ENC_PROTOCOL_SAS || info.protocol == ENC_PROTOCOL_THUNDERBOLT)
                se_sys_set_7_segment_led(enc_sys_id, id);
        }
        if (id == 0)
            PRT_Scan();
    }
    ERR_TRACE(HAL_TRACE_CALL, "%s(%s) with enc_id = %d leave.\n", __func__, enc_sys_id, id);
    return result;
}
