// Weak definitions of the enclosure queries the disk registry's log names and the disk service
// calls need, read from the enclosure's section of /etc/hal.conf as the enclosure registry
// writes it. The enclosure query interface replaces each of them when it is linked in.
#include <cstdio>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/pending_enclosure_queries.h"
#include "registry/registry_files.h"

#define NASHAL_PENDING __attribute__((weak))

using nashal::registry::EnclosureSection;

namespace {

bool enclosure_int(int enc_id, const char *field, int format, int32_t *out) {
    EnclosureSection s(enc_id);
    return Ini_Conf_Get_Field_Int(HAL_CONF_FILE, s.name, field, out, format) >= 0;
}

int pci_cache_enclosure(int enc_id, void *) {
    return SE_Get_Protocol(enc_id) == ENC_PROTOCOL_PCIE ? 0 : -2;
}

}  // namespace

extern "C" NASHAL_PENDING int SE_Get_Capability(int enc_id, uint32_t *capability) {
    int32_t value;
    if (!capability || !enclosure_int(enc_id, "capability", INI_CONF_HEX, &value))
        return -1;
    *capability = static_cast<uint32_t>(value);
    return 0;
}

extern "C" NASHAL_PENDING int SE_Get_Protocol(int enc_id) {
    int32_t value;
    if (!enclosure_int(enc_id, "protocol", INI_CONF_DEC, &value)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "protocol");
        return -1;
    }
    return value;
}

extern "C" NASHAL_PENDING int SE_Get_Cache_Enc_Id(void) {
    uint32_t capability = 0;
    if (SE_Get_Capability(0, &capability) != 0 || !(capability & CAP_CACHE_ENCLOSURE))
        return -1;
    return se_lookup_id("root_cache");
}

extern "C" NASHAL_PENDING int SE_Get_Pci_Cache_Enc_Id(uint32_t *bits) {
    if (!bits)
        return -1;
    int ids[MAX_SE_SYS_ENUM];
    // The enumeration callback gets the id as its "bit"; -2 passes non-PCIe enclosures over.
    int count = SE_Enumerate(ids, MAX_SE_SYS_ENUM, pci_cache_enclosure, nullptr);
    for (int i = 0; i < count && i < MAX_SE_SYS_ENUM; ++i)
        if (ids[i] >= 0 && ids[i] < 32)
            *bits |= 1u << ids[i];
    return 0;
}

extern "C" NASHAL_PENDING char *SE_Get_Log_Name(int enc_id, char *buffer, int size) {
    if (!buffer)
        return nullptr;
    uint32_t pcie_cache = 0;
    SE_Get_Pci_Cache_Enc_Id(&pcie_cache);
    int bit = enc_id >= 32 ? 31 : enc_id;
    bool host = enc_id == 0 || enc_id == SE_Get_Cache_Enc_Id() ||
                (enc_id >= 0 && ((pcie_cache >> bit) & 1u));
    snprintf(buffer, static_cast<size_t>(size), "%s", host ? "Host" : "VEXP");
    return buffer;
}
