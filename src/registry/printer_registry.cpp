// The printer registry: the printers of the main unit, kept beside its disks in
// /etc/enclosure_0.conf. A printer's id is its front-panel port when the backend knows it, else
// one allocated from 16 upward.
#include <cstdio>
#include <cstdlib>

#include "foundation/ini_snapshot.h"
#include "nashal/hal_prt.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "registry/registry_files.h"

namespace {

using nashal::registry::kIndex;
using nashal::registry::kNameLen;

constexpr const char *kPrtBitmap = "prt_bitmap";

// The one file printers live in: that of the main unit, enclosure 0.
const char *prt_file() {
    static const nashal::registry::EnclosureConfFile file(0);
    return file.name;
}

struct PrtSection {
    char name[kNameLen];
    explicit PrtSection(int id) { snprintf(name, sizeof name, "PRT_%d", id); }
};

struct PrtSysIdField {
    char name[kNameLen];
    explicit PrtSysIdField(const char *prt_sys_id) {
        snprintf(name, sizeof name, "prt_sysid_%s", prt_sys_id);
    }
};

// A text field of a printer's section, from the one read of the file the record is taken
// from; a missing one is told at level 2, under the name of the caller, and leaves out empty.
bool read_text(const nashal::ini::Snapshot &conf, const char *section, const char *field, char *out,
               int size, const char *caller) {
    if (conf.get_field(section, field, out, size) < 0) {
        out[0] = '\0';
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", caller, field);
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

int PRT_Enumerate(int *ids, int capacity, INI_CONF_BITMAP_CB callback, void *cookie) {
    return Ini_Conf_Bitmap_Enumerate(prt_file(), kIndex, kPrtBitmap, ids, capacity, callback,
                                     cookie);
}

int prt_write_conf(int id, PRT_INFO *info) {
    if (!info)
        return -1;
    const char *file = prt_file();
    if (id < 0) {
        if (Ini_Conf_Bitmap_Get_Next_Free_Bit(file, kIndex, kPrtBitmap, &id, PRT_FIRST_FREE_ID,
                                              1) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR,
                      "%s: can't allocate a new physical disk identifier for pd_sys_id = %s!\n",
                      __func__, info->prt_sys_id);
            return -1;
        }
        info->port_id = id;
    } else {
        Ini_Conf_Bitmap_Set_Bit(file, kIndex, kPrtBitmap, id);
    }
    PrtSection section(id);
    Ini_Conf_Set_Field_Int(file, section.name, "port_id", info->port_id, INI_CONF_DEC);
    Ini_Conf_Set_Field(file, section.name, "prt_sys_id", info->prt_sys_id);
    Ini_Conf_Set_Field(file, section.name, "prt_ctrl_name", info->prt_ctrl_name);
    Ini_Conf_Set_Field(file, section.name, "vendor", info->vendor);
    Ini_Conf_Set_Field(file, section.name, "model", info->model);
    Ini_Conf_Set_Field_Int(file, kIndex, PrtSysIdField(info->prt_sys_id).name, id, INI_CONF_DEC);
    return 0;
}

int prt_read_conf(int id, PRT_INFO *info) {
    if (!info)
        return -1;
    PrtSection section(id);
    // Every field from one read: a record never mixes two versions of the file.
    nashal::ini::Snapshot conf(prt_file());
    if (conf.get_field_int(section.name, "port_id", &info->port_id, INI_CONF_DEC) <= 0) {
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve port_id value!\n", __func__);
        return -1;
    }
    if (!read_text(conf, section.name, "prt_sys_id", info->prt_sys_id, sizeof info->prt_sys_id,
                   __func__))
        return -1;
    read_text(conf, section.name, "prt_ctrl_name", info->prt_ctrl_name, sizeof info->prt_ctrl_name,
              __func__);
    read_text(conf, section.name, "vendor", info->vendor, sizeof info->vendor, __func__);
    read_text(conf, section.name, "model", info->model, sizeof info->model, __func__);
    return 0;
}

int prt_remove_conf(int id, void *cookie) {
    (void)cookie;
    const char *file = prt_file();
    PrtSection section(id);
    char prt_sys_id[HAL_ID_LEN] = {};
    if (Ini_Conf_Get_Field(file, section.name, "prt_sys_id", prt_sys_id, sizeof prt_sys_id) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't retrieve %s value!\n", __func__, "prt_sys_id");
    PrtSysIdField field(prt_sys_id);
    if (Ini_Conf_Remove_Field(file, kIndex, field.name) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: can't remove field %s!\n", __func__, field.name);
    if (Ini_Conf_Bitmap_Reset_Bit(file, kIndex, kPrtBitmap, id) == 0)
        Ini_Conf_Remove_Section(file, section.name);
    return 0;
}

int PRT_Get_Info(int id, PRT_INFO *info) {
    return prt_read_conf(id, info);
}

int PRT_Get_Id_By_Sys_Id(const char *prt_sys_id, int *id) {
    if (!prt_sys_id || !id)
        return -1;
    int32_t value = -1;
    if (Ini_Conf_Get_Field_Int(prt_file(), kIndex, PrtSysIdField(prt_sys_id).name, &value,
                               INI_CONF_DEC) <= 0 ||
        value < 0)
        return -1;
    *id = value;
    return 0;
}

int prt_attach(const char *prt_sys_id) {
    if (!prt_sys_id) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: prt_sys_id is invalid!\n", __func__);
        return -1;
    }
    PRT_INFO info = {};
    if (prt_sys_getinfo(prt_sys_id, &info) < 0)
        return -1;
    return prt_write_conf(info.port_id, &info);
}

int prt_detach(const char *prt_sys_id) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called.\n", __func__);
    int id = -1;
    if (!prt_sys_id || PRT_Get_Id_By_Sys_Id(prt_sys_id, &id) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s: (prt_sys_id, port_id) = (%s, %d) is invalid!\n", __func__,
                  prt_sys_id ? prt_sys_id : "(null)", id);
        return -1;
    }
    return prt_remove_conf(id, nullptr);
}

int PRT_Scan(void) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: got called.\n", __func__);
    int ids[MAX_PRT_SYS_ENUM];
    PRT_Enumerate(ids, MAX_PRT_SYS_ENUM, prt_remove_conf, nullptr);
    char *names[MAX_PRT_SYS_ENUM] = {};
    int count = prt_sys_enumerate(names, MAX_PRT_SYS_ENUM);
    if (count <= 0) {
        ERR_TRACE(HAL_TRACE_CALL, "%s: ptr_sys_enumerate return %d.\n", __func__, count);
    } else {
        for (int i = 0; i < count && i < MAX_PRT_SYS_ENUM && names[i]; ++i)
            prt_attach(names[i]);
    }
    // Every text the backend handed over is ours to free, also those behind an empty entry.
    for (char *&name : names) {
        free(name);
        name = nullptr;
    }
    return count;
}

}  // extern "C"
