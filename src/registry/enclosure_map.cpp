// The persistent map /etc/config/enclosure.map: which unique enclosure got which enc_id. It
// survives scans, detaches and reboots; only SE_Release_Id takes an entry out.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "foundation/text.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

namespace {

constexpr int kUniqueIdLen = HAL_SERIAL_LEN;

bool file_exists(const char *path) {
    struct stat st;
    return stat(path, &st) == 0;
}

// "enc_uid_%s": the forward entry; the reverse entry is named with the id in decimal.
void uid_field(const char *unique_id, char (&field)[kNameLen]) {
    snprintf(field, sizeof field, "enc_uid_%s", unique_id);
}

}  // namespace

// Internal kinds by their role, then the WWN, then the serial, then the system id.
extern "C" int SE_Get_Unique_Id(const ENC_INFO *info, char *unique_id, int size) {
    if (!info || !unique_id || size <= 0)
        return -1;
    const size_t n = static_cast<size_t>(size);
    if (strncmp(info->enc_sys_id, "root", 4) == 0) {
        nashal::hal_copy(unique_id, n, info->enc_sys_id, sizeof info->enc_sys_id);
    } else if (info->wwn[0] != 0) {
        char hex[17];
        for (int i = 0; i < 8; ++i)
            snprintf(hex + 2 * i, 3, "%02X", info->wwn[i]);
        nashal::hal_copy(unique_id, n, hex);
    } else if (info->serial[0] != '\0') {
        nashal::hal_copy(unique_id, n, info->serial, sizeof info->serial);
    } else {
        nashal::hal_copy(unique_id, n, info->enc_sys_id, sizeof info->enc_sys_id);
    }
    return 0;
}

extern "C" int se_lookup_id_in_persistent_mapping(const ENC_INFO *info) {
    char unique_id[kUniqueIdLen];
    if (SE_Get_Unique_Id(info, unique_id, sizeof unique_id) != 0)
        return -1;
    char field[kNameLen];
    uid_field(unique_id, field);
    int32_t id = -1;
    if (Ini_Conf_Get_Field_Int(SE_ENC_MAP_FILE, kIndex, field, &id, INI_CONF_DEC) <= 0 || id < 0)
        return -1;
    Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, kIndex, kEncBitmap, id);
    ERR_TRACE(HAL_TRACE_INFO,
              "%s: Enclosure UID:%s is found in persistent mapping file, last allocated enc_id = "
              "%d.\n",
              __func__, unique_id, id);
    return id;
}

extern "C" int se_write_enc_map(int enc_id, const ENC_INFO *info) {
    char unique_id[kUniqueIdLen];
    if (SE_Get_Unique_Id(info, unique_id, sizeof unique_id) != 0)
        return -1;
    char field[kNameLen];
    uid_field(unique_id, field);
    char id_text[kValueLen];
    snprintf(id_text, sizeof id_text, "%d", enc_id);
    Ini_Conf_Set_Field_Int(SE_ENC_MAP_FILE, kIndex, field, enc_id, INI_CONF_DEC);
    Ini_Conf_Set_Field(SE_ENC_MAP_FILE, kIndex, id_text, field);
    ERR_TRACE(HAL_TRACE_INFO, "%s: write %s = %s.\n", __func__, field, id_text);
    if (!Ini_Conf_Bitmap_Is_Bit_Set(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id))
        Ini_Conf_Bitmap_Set_Bit(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id);
    if (!Ini_Conf_Bitmap_Is_Bit_Set(HAL_CONF_FILE, kIndex, kEncBitmap, enc_id))
        Ini_Conf_Bitmap_Set_Bit(HAL_CONF_FILE, kIndex, kEncBitmap, enc_id);
    return 0;
}

extern "C" int se_release_id_in_persistent_mapping(int enc_id) {
    if (enc_id == -1) {
        unlink(SE_ENC_MAP_FILE);
        return 0;
    }
    if (!Ini_Conf_Bitmap_Is_Bit_Set(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id))
        return -1;
    Ini_Conf_Bitmap_Reset_Bit(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id);
    char id_text[kValueLen];
    snprintf(id_text, sizeof id_text, "%d", enc_id);
    // The reverse entry names the forward one; read back through 32 bytes, a long unique id
    // gives a name that matches nothing, and only the reverse entry goes.
    char forward[kValueLen] = {};
    if (Ini_Conf_Get_Field(SE_ENC_MAP_FILE, kIndex, id_text, forward, sizeof forward) > 0)
        Ini_Conf_Remove_Field(SE_ENC_MAP_FILE, kIndex, forward);
    Ini_Conf_Remove_Field(SE_ENC_MAP_FILE, kIndex, id_text);
    return 0;
}

extern "C" int SE_Release_Id(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    // Disks that left with this enclosure are no longer told apart from new ones.
    EnclosureSection section(enc_id);
    Ini_Conf_Set_Field_Int(SE_DETACHED_FILE, section.name, "detached", 1, INI_CONF_DEC);
    return se_release_id_in_persistent_mapping(enc_id);
}

extern "C" int SE_Is_Id_Available(int enc_id) {
    if (enc_id != -1)
        return Ini_Conf_Bitmap_Is_Bit_Set(SE_ENC_MAP_FILE, kIndex, kEncBitmap, enc_id) == 1 ? 0 : 1;
    int32_t max = 0;
    if (Ini_Conf_Get_Field_Int(SE_SYSTEM_CONF_FILE, "MISC", "Max Enclosure Id", &max,
                               INI_CONF_DEC) <= 0 ||
        max < 1)
        max = SE_DEFAULT_MAX_ENCLOSURE_ID;
    // Id 0 belongs to the main unit and is never offered.
    for (int id = 1; id <= max; ++id)
        if (Ini_Conf_Bitmap_Is_Bit_Set(SE_ENC_MAP_FILE, kIndex, kEncBitmap, id) != 1)
            return 1;
    return 0;
}

extern "C" int SE_Export_Enc_Map(void) {
    int ids[kEnumCapacity];
    int count = SE_Enumerate(ids, kEnumCapacity, nullptr, nullptr);
    for (int i = 0; i < count && i < kEnumCapacity; ++i) {
        ENC_INFO info;
        memset(&info, 0, sizeof info);
        if (SE_Get_Info(ids[i], &info) == 0)
            se_write_enc_map(ids[i], &info);
    }
    return 0;
}

extern "C" int SE_Import_Enc_Map(void) {
    if (!file_exists(SE_ENC_MAP_FILE)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: can't find %s!\n", __func__, SE_ENC_MAP_FILE);
        return -1;
    }
    char bitmap[kValueLen] = {};
    if (Ini_Conf_Get_Field(SE_ENC_MAP_FILE, kIndex, kEncBitmap, bitmap, sizeof bitmap) <= 0)
        return -1;
    Ini_Conf_Set_Field(HAL_CONF_FILE, kIndex, kEncBitmap, bitmap);
    ERR_TRACE(HAL_TRACE_INFO, "%s: write %s = %s.\n", __func__, kEncBitmap, bitmap);
    return 0;
}

extern "C" int se_sync_enc_bitmap(void) {
    if (file_exists(SE_ENC_MAP_FILE))
        return 0;
    // The map is created even when nothing is attached yet: its bitmap is then empty.
    char bitmap[kValueLen] = {};
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, kIndex, kEncBitmap, bitmap, sizeof bitmap) <= 0)
        bitmap[0] = '\0';
    Ini_Conf_Set_Field(SE_ENC_MAP_FILE, kIndex, kEncBitmap, bitmap);
    return 0;
}
