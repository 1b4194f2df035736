// /tmp/.se_detached: the disks an enclosure held when it went, so that a disk seen again is
// recognised as one that left with its enclosure, once per disk.
#include <cstdint>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

int se_hotswap_save_pd_bitmap(int enc_id, uint32_t pd_bitmap) {
    EnclosureSection s(enc_id);
    return Ini_Conf_Set_Field_Int(SE_DETACHED_FILE, s.name, "pd_bitmap",
                                  static_cast<int32_t>(pd_bitmap), INI_CONF_HEX);
}

// Several disk events of one enclosure race on the same record: the test and the clear happen
// under the store's lock pair.
extern "C" int SE_Hotswap_Check_PD(int enc_id, int port_id) {
    ERR_TRACE(HAL_TRACE_INFO, "%s: got called with (%d, %d).\n", __func__, enc_id, port_id);
    EnclosureSection s(enc_id);
    INI_CONF_LOCK *lock = Ini_Conf_Write_Lock_File(SE_DETACHED_FILE);
    int result = 0;
    int32_t detached = 0;
    Ini_Conf_Get_Field_Int(SE_DETACHED_FILE, s.name, "detached", &detached, INI_CONF_DEC);
    if (detached != 0) {
        Ini_Conf_Remove_Section(SE_DETACHED_FILE, s.name);
    } else if (Ini_Conf_Bitmap_Is_Bit_Set(SE_DETACHED_FILE, s.name, "pd_bitmap", port_id)) {
        Ini_Conf_Bitmap_Reset_Bit(SE_DETACHED_FILE, s.name, "pd_bitmap", port_id);
        result = 1;
    }
    Ini_Conf_Unlock_File(lock);
    return result;
}

extern "C" int SE_Hotswap_Clear_Enc(int enc_id) {
    EnclosureSection s(enc_id);
    return Ini_Conf_Remove_Section(SE_DETACHED_FILE, s.name);
}
