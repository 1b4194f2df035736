// Taking enclosures out: marking them as being removed, and removing them with their children
// and disks. The map is left alone, so a returning enclosure gets its id back.
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/pending_scans.h"
#include "registry/registry_files.h"

using namespace nashal::registry;

namespace {

// The enclosures whose detach is under way in this thread, outermost first. A child_bitmap that
// names the enclosure itself or one of its ancestors (a hand-edited or damaged /etc/hal.conf)
// would otherwise recurse until the stack runs out.
thread_local std::vector<int> g_detaching;

struct DetachInProgress {
    explicit DetachInProgress(int enc_id) { g_detaching.push_back(enc_id); }
    ~DetachInProgress() { g_detaching.pop_back(); }
    DetachInProgress(const DetachInProgress &) = delete;
    DetachInProgress &operator=(const DetachInProgress &) = delete;
};

bool detach_under_way(int enc_id) {
    for (int id : g_detaching)
        if (id == enc_id)
            return true;
    return false;
}

int se_child_detach_callback(int child_id, void *) {
    char child[kValueLen] = {};
    if (se_lookup_sys_id(child_id, child, sizeof child) != 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: fail to lookup enc_sys_id for enclosure %d!\n", __func__,
                  child_id);
        return 0;
    }
    se_detach(child);
    return 0;
}

int se_pd_detach_callback(int port_id, void *cookie) {
    pd_detach_by_dev_id(*static_cast<const int *>(cookie), port_id);
    return 0;
}

void se_remove_conf(int enc_id) {
    EnclosureConfFile file(enc_id);
    if (unlink(file.name) != 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove file %s!\n", __func__, file.name);

    EnclosureSection s(enc_id);
    char enc_sys_id[kValueLen] = {};
    if (se_lookup_sys_id(enc_id, enc_sys_id, sizeof enc_sys_id) == 0) {
        SysIdField field(enc_sys_id);
        if (Ini_Conf_Remove_Field(HAL_CONF_FILE, kIndex, field.name) < 0)
            ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove field %s!\n", __func__, field.name);
    } else {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't lookup system id for enclosure %d!\n", __func__,
                  enc_id);
    }

    char parent[kValueLen] = {};
    if (Ini_Conf_Get_Field(HAL_CONF_FILE, s.name, "enc_parent_sys_id", parent, sizeof parent) > 0) {
        int parent_id = se_lookup_id(parent);
        if (parent_id >= 0) {
            EnclosureSection p(parent_id);
            Ini_Conf_Bitmap_Reset_Bit(HAL_CONF_FILE, p.name, "child_bitmap", enc_id);
        }
    }
    if (Ini_Conf_Remove_Section(HAL_CONF_FILE, s.name) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove section %s!\n", __func__, s.name);
}

int attached_id_or_trace(const char *who, const char *enc_sys_id) {
    int id = enc_sys_id ? se_lookup_id(enc_sys_id) : -1;
    if (id < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s: enc_sys_id = %s is invalid!\n", who,
                  enc_sys_id ? enc_sys_id : "(null)");
    return id;
}

}  // namespace

// One level deep: the direct children are marked, grandchildren stay as they are.
extern "C" int se_pre_detach(const char *enc_sys_id) {
    int id = attached_id_or_trace(__func__, enc_sys_id);
    if (id < 0)
        return -1;
    EnclosureSection s(id);
    void *removing = reinterpret_cast<void *>(static_cast<intptr_t>(SE_STATUS_REMOVING));
    Ini_Conf_Bitmap_Enumerate(HAL_CONF_FILE, s.name, "child_bitmap", nullptr, 0, se_set_status,
                              removing);
    return se_set_status(id, removing);
}

extern "C" int se_detach(const char *enc_sys_id) {
    int id = attached_id_or_trace(__func__, enc_sys_id);
    if (id < 0)
        return -1;
    if (detach_under_way(id)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: enclosure %d (%s) is listed below itself, skipped!\n",
                  __func__, id, enc_sys_id);
        return -1;
    }
    DetachInProgress under_way(id);
    EnclosureSection s(id);
    Ini_Conf_Bitmap_Enumerate(HAL_CONF_FILE, s.name, "child_bitmap", nullptr, 0,
                              se_child_detach_callback, nullptr);

    EnclosureConfFile file(id);
    int32_t pd_bitmap = 0;
    Ini_Conf_Get_Field_Int(file.name, kIndex, "pd_bitmap", &pd_bitmap, INI_CONF_HEX);
    se_hotswap_save_pd_bitmap(id, static_cast<uint32_t>(pd_bitmap));
    Ini_Conf_Bitmap_Enumerate(file.name, kIndex, "pd_bitmap", nullptr, 0, se_pd_detach_callback,
                              &id);

    se_remove_conf(id);
    return Ini_Conf_Bitmap_Reset_Bit(HAL_CONF_FILE, kIndex, kEncBitmap, id) == 0 ? 0 : -1;
}
