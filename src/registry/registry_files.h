// Names inside the registry's files, built in the fixed buffers the registry has always used:
// section and field names in 64 bytes, values read back in 32.
#ifndef NASHAL_REGISTRY_REGISTRY_FILES_H
#define NASHAL_REGISTRY_REGISTRY_FILES_H

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "nashal/hal_se.h"

namespace nashal::registry {

constexpr int kNameLen = HAL_NAME_LEN;  // section and field names
constexpr int kValueLen = HAL_ID_LEN;   // texts read back
constexpr int kEnumCapacity = MAX_SE_SYS_ENUM;

constexpr const char *kIndex = "Index";
constexpr const char *kEncBitmap = "enc_bitmap";

// "Enclosure_%d": the section of one enclosure in /etc/hal.conf and /tmp/.se_detached.
struct EnclosureSection {
    char name[kNameLen];
    explicit EnclosureSection(int enc_id) { snprintf(name, sizeof name, "Enclosure_%d", enc_id); }
};

// "/etc/enclosure_%d.conf".
struct EnclosureConfFile {
    char name[kNameLen];
    explicit EnclosureConfFile(int enc_id) {
        snprintf(name, sizeof name, "/etc/enclosure_%d.conf", enc_id);
    }
};

// "enc_sysid_%s": the index entry of an attached enclosure in /etc/hal.conf.
struct SysIdField {
    char name[kNameLen];
    explicit SysIdField(const char *enc_sys_id) {
        snprintf(name, sizeof name, "enc_sysid_%s", enc_sys_id);
    }
};

// The enclosure's enc_sys_id in a cleared buffer of N bytes, as every call that forwards by
// enc_id looks it up (a shorter buffer cuts the id); false when the enclosure is not attached.
template <size_t N>
bool lookup_sys_id(int enc_id, char (&sys_id)[N]) {
    memset(sys_id, 0, N);
    return se_lookup_sys_id(enc_id, sys_id, static_cast<int>(N)) == 0;
}

}  // namespace nashal::registry

// Saves what an enclosure held when it went, for SE_Hotswap_Check_PD (enclosure_hotswap.cpp).
int se_hotswap_save_pd_bitmap(int enc_id, uint32_t pd_bitmap);

#endif  // NASHAL_REGISTRY_REGISTRY_FILES_H
