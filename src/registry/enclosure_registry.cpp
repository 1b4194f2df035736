// The boot scan and the lookups between enc_sys_id and enc_id in /etc/hal.conf.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

namespace {

// Enumeration callback of the scan: the disks of every enclosure of the last boot go. A file
// that is already gone is traced too, at the level of expected misses.
int se_remove_conf_file(int enc_id, void *) {
    EnclosureConfFile file(enc_id);
    if (unlink(file.name) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove file %s!\n", __func__, file.name);
    return 0;
}

void se_remove_hal_conf_file() {
    int ids[kEnumCapacity];
    SE_Enumerate(ids, kEnumCapacity, se_remove_conf_file, nullptr);
    if (unlink(HAL_CONF_FILE) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove file %s!\n", __func__, HAL_CONF_FILE);
}

}  // namespace

extern "C" int SE_Scan(void) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called.\n", __func__);
    se_remove_hal_conf_file();

    char *ids[kEnumCapacity] = {};
    int count = se_sys_enumerate(ids, kEnumCapacity);
    // The backend may report more than fitted; only what is in the array is ours to attach, and
    // the walk ends at the first empty entry.
    for (int i = 0; i < count && i < kEnumCapacity && ids[i]; ++i) {
        se_attach(ids[i], 1);
        free(ids[i]);
        ids[i] = nullptr;
    }
    // Whatever stood behind an empty entry or past the count is still ours to free.
    for (char *&id : ids) {
        free(id);
        id = nullptr;
    }
    return 0;
}

extern "C" int SE_Enumerate(int *enc_ids, int capacity, INI_CONF_BITMAP_CB callback, void *cookie) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called.\n", __func__);
    return Ini_Conf_Bitmap_Enumerate(HAL_CONF_FILE, kIndex, kEncBitmap, enc_ids, capacity, callback,
                                     cookie);
}

extern "C" int se_lookup_id(const char *enc_sys_id) {
    if (!enc_sys_id)
        return -1;
    SysIdField field(enc_sys_id);
    int32_t id = -1;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, kIndex, field.name, &id, INI_CONF_DEC) > 0 && id >= 0)
        return id;
    return -1;
}

extern "C" int se_lookup_sys_id(int enc_id, char *enc_sys_id, int size) {
    if (!enc_sys_id || size <= 0)
        return -1;
    EnclosureSection section(enc_id);
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, section.name, "enc_sys_id", enc_sys_id, size) > 0)
        return 0;
    return -1;
}

extern "C" int SE_Get_Id_By_Sys_Id(const char *enc_sys_id, int *enc_id) {
    if (!enc_id)
        return -1;
    *enc_id = se_lookup_id(enc_sys_id);
    return *enc_id < 0 ? -1 : 0;
}

extern "C" int se_get_stack_id(const char *enc_sys_id) {
    int id = se_lookup_id(enc_sys_id);
    if (id < 0)
        return -1;
    EnclosureSection section(id);
    int32_t stack_id = -1;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, section.name, "stack_id", &stack_id, INI_CONF_DEC) <=
        0)
        return -1;
    return stack_id;
}

extern "C" int se_get_max_stack_num(void) {
    int32_t max = 0;
    if (Ini_Conf_Get_Field_Int(SE_SYSTEM_CONF_FILE, "MISC", "Max Stack Num", &max, INI_CONF_DEC) <=
            0 ||
        max < 1)
        return SE_DEFAULT_MAX_STACK_NUM;
    return max;
}

extern "C" int se_set_status(int enc_id, void *status) {
    EnclosureSection section(enc_id);
    int value = static_cast<int>(reinterpret_cast<intptr_t>(status));
    return Ini_Conf_Set_Field_Int(HAL_CONF_FILE, section.name, "status", value, INI_CONF_DEC) > 0
               ? 0
               : -1;
}

extern "C" int se_get_status(int enc_id) {
    EnclosureSection section(enc_id);
    int32_t status = -1;
    if (Ini_Conf_Get_Field_Int(HAL_CONF_FILE, section.name, "status", &status, INI_CONF_DEC) <= 0)
        return -1;
    return status;
}
