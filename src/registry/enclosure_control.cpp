// The enclosure calls that go past the registry to the hardware: each looks the enc_sys_id up
// in /etc/hal.conf and hands it to the enclosure backend. The policies that stand in front of
// the hardware (the buzzer settings, SAS-only reboot and firmware) are here too, and so are the
// small enclosure facts kept beside the disk records (the identify lamp).
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_sys.h"
#include "os/os_seam.h"
#include "nashal/sas_expander_fw.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

namespace {

constexpr const char *kSystemSection = "System";
constexpr const char *kMiscSection = "MISC";
// How long the enclosures take to go down before a caller may look for them again.
constexpr unsigned kRebootAllWaitSeconds = 20;

// A yes/no setting of the appliance's settings file; -1 missing, else 1 for TRUE, 0 otherwise.
int system_setting(const char *section, const char *field, const char *yes_word) {
    char value[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(SE_SYSTEM_CONF_FILE, section, field, value, sizeof value) <= 0)
        return -1;
    return strcasecmp(value, yes_word) == 0 ? 1 : 0;
}

bool is_sas(int enc_id) {
    return SE_Get_Protocol(enc_id) == ENC_PROTOCOL_SAS;
}

}  // namespace

extern "C" int SE_Get_Friendly_Name(int enc_id, char *buffer, int size) {
    char sys_id[HAL_ID_LEN];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_get_nickname(sys_id, buffer, size) : -1;
}

extern "C" int SE_Set_Friendly_Name(int enc_id, const char *name) {
    char sys_id[HAL_ID_LEN];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_set_nickname(sys_id, name) : -1;
}

extern "C" int SE_Get_LCM_Dev_Name(int enc_id, char *buffer, int size) {
    char sys_id[HAL_ID_LEN];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_get_LCM_devname(sys_id, buffer, size) : -1;
}

extern "C" int SE_Get_Connector_Status(int enc_id, uint32_t *status, int size) {
    char sys_id[HAL_ID_LEN];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_get_connector_status(sys_id, status, size) : -1;
}

// The heartbeat has always looked the id up in 16 bytes: an enc_sys_id of 16 characters or more
// reaches the backend cut, and the backend then finds no such enclosure.
extern "C" int SE_Send_Heartbeat(int enc_id) {
    char sys_id[16];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_set_heartbeat(sys_id) : -1;
}

extern "C" int SE_Get_Serial_No(int enc_id, char *buffer, int size) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    if (!buffer || size <= 0)
        return -1;
    EnclosureSection s(enc_id);
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, s.name, "serial", buffer, size) > 0)
        return 0;
    char sys_id[HAL_ID_LEN];
    return lookup_sys_id(enc_id, sys_id) ? se_sys_get_board_sn(sys_id, buffer, size) : -1;
}

extern "C" int SE_Set_Serial_No(int enc_id, const char *serial) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    char sys_id[HAL_ID_LEN];
    if (!serial || !lookup_sys_id(enc_id, sys_id))
        return -1;
    int result = se_sys_set_board_sn(sys_id, serial);
    if (result == 0) {
        EnclosureSection s(enc_id);
        Ini_Conf_Set_Field(HAL_CONF_FILE, s.name, "serial", serial);
    }
    return result;
}

// Each setting names its own sense: "Buzzer Quiet Enable" TRUE silences the quiet-mode patterns,
// "Buzzer Warning Enable" FALSE silences the warnings. A missing setting silences nothing.
extern "C" int SE_Set_Buzzer(int enc_id, int mode) {
    ERR_TRACE(HAL_TRACE_INFO, "%s: got called with (%d, %d).\n", __func__, enc_id, mode);
    char sys_id[HAL_ID_LEN];
    if (!lookup_sys_id(enc_id, sys_id))
        return -1;
    bool quiet_mode = mode >= SE_BUZZER_QUIET_MODE_FIRST && mode <= SE_BUZZER_QUIET_MODE_LAST;
    bool blocked = quiet_mode ? system_setting(kMiscSection, "Buzzer Quiet Enable", "TRUE") == 1
                              : system_setting(kMiscSection, "Buzzer Warning Enable", "FALSE") == 1;
    if (blocked) {
        ERR_TRACE(HAL_TRACE_INFO, "%s: buzzer mode %d is silenced by the settings.\n", __func__,
                  mode);
        return -1;
    }
    return se_sys_set_buzzer(sys_id, mode);
}

extern "C" int SE_Upgrade_FW(int enc_id, const char *image, char *version, int version_size) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    char sys_id[HAL_ID_LEN];
    if (!lookup_sys_id(enc_id, sys_id) || !is_sas(enc_id))
        return -1;
    char device[HAL_NAME_LEN];
    snprintf(device, sizeof device, "/dev/%s", sys_id);
    int result = SAS_Expander_Upgrade_Img(device, image, version, version_size);
    if (result == 0)
        Ini_Conf_Bitmap_Set_Bit(SE_UPGRADE_INFO_FILE, nullptr, kEncBitmap, enc_id);
    return result;
}

extern "C" int se_reboot_sas_enclosure(int enc_id, void *) {
    int result = -2;
    char sys_id[HAL_ID_LEN];
    if (lookup_sys_id(enc_id, sys_id) && is_sas(enc_id))
        result = se_sys_set_reboot(sys_id) < 0 ? -2 : 0;
    ERR_TRACE(HAL_TRACE_INFO, "%s: reboot SAS enclosure %d, ret = %d.\n", __func__, enc_id, result);
    return result;
}

extern "C" int SE_Reboot(int enc_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called with (%d).\n", __func__, enc_id);
    if (enc_id != -1)
        return se_reboot_sas_enclosure(enc_id, nullptr) == 0 ? 1 : -1;
    int ids[kEnumCapacity];
    int count = SE_Enumerate(ids, kEnumCapacity, se_reboot_sas_enclosure, nullptr);
    os_sleep(kRebootAllWaitSeconds);
    return count;
}

extern "C" int SE_Get_Cache_Enc_Id(void) {
    uint32_t capability = 0;
    if (SE_Get_Capability(0, &capability) != 0 || !(capability & CAP_CACHE_ENCLOSURE))
        return -1;
    return se_lookup_id("root_cache");
}

extern "C" int se_get_pci_cache_enclosure(int enc_id, void *) {
    return SE_Get_Protocol(enc_id) == ENC_PROTOCOL_PCIE ? 0 : -2;
}

extern "C" int SE_Get_Pci_Cache_Enc_Id(uint32_t *bits) {
    if (!bits)
        return -1;
    int ids[kEnumCapacity];
    int count = SE_Enumerate(ids, kEnumCapacity, se_get_pci_cache_enclosure, nullptr);
    // The word has 32 bits: an enclosure with a higher id has no bit to stand in.
    for (int i = 0; i < count && i < kEnumCapacity; ++i)
        if (ids[i] >= 0 && ids[i] < 32)
            *bits |= 1u << ids[i];
    return 0;
}

extern "C" char *SE_Get_Log_Name(int enc_id, char *buffer, int size) {
    if (!buffer)
        return nullptr;
    if (size <= 0)
        return buffer;
    uint32_t pcie_cache = 0;
    SE_Get_Pci_Cache_Enc_Id(&pcie_cache);
    // An id of 32 or more is tested against the word's top bit, as the disk log names do.
    int bit = enc_id >= 32 ? 31 : enc_id;
    bool host = enc_id == 0 || enc_id == SE_Get_Cache_Enc_Id() ||
                (enc_id >= 0 && ((pcie_cache >> bit) & 1u));
    snprintf(buffer, static_cast<size_t>(size), "%s", host ? "Host" : "VEXP");
    return buffer;
}

extern "C" int se_set_enc_ident_status(int enc_id, int value) {
    EnclosureConfFile file(enc_id);
    return Ini_Conf_Set_Field_Int(file.name, "Global", "ident", value, INI_CONF_DEC) < 0 ? -1 : 0;
}

extern "C" int se_get_enc_ident_status(int enc_id) {
    EnclosureConfFile file(enc_id);
    int32_t value = 0;
    if (Ini_Conf_Get_Field_Int(file.name, "Global", "ident", &value, INI_CONF_DEC) <= 0)
        return 0;
    return value;
}
