// The disk service calls by (enc_id, port_id): each finds the disk's names in the registry and
// hands the request to the ATA or the SAS backend by the disk's recorded type, so a caller never
// needs to know how a disk is attached. A USB disk has none of these services. Also the SMART
// summary and the read-speed measurement, which combine the cache or a tool with the record.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/hal_se.h"
#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "nashal/ini_conf.h"
#include "nashal/pd_smart.h"
#include "nashal/hal_pd.h"

namespace {

// The names a backend call needs, found as every service call begins.
struct Disk {
    char enc_sys_id[32] = {};
    char pd_sys_id[32] = {};
    int type = -1;
};

bool find_disk(int enc_id, int port_id, Disk &d, bool with_type) {
    if (se_lookup_sys_id(enc_id, d.enc_sys_id, sizeof d.enc_sys_id) != 0)
        return false;
    if (pd_get_sys_id(enc_id, port_id, d.pd_sys_id, sizeof d.pd_sys_id) < 0)
        return false;
    return !with_type || pd_get_port_type(enc_id, port_id, &d.type) >= 0;
}

int unknown_type(const char *who, int type) {
    ERR_TRACE(HAL_TRACE_CALL, "%s: unknown physical disk type %d.\n", who, type);
    return -1;
}

// Classify once, then act per class: the SATA branch, the SAS branch, or no service for this
// type. Each branch gets the disk's names.
template <typename Sata, typename Sas>
int by_type(const char *who, int enc_id, int port_id, Sata sata, Sas sas) {
    Disk d;
    if (!find_disk(enc_id, port_id, d, true))
        return -1;
    if (d.type == PD_TYPE_SATA)
        return sata(d);
    if (d.type == PD_TYPE_SAS)
        return sas(d);
    return unknown_type(who, d.type);
}

// The branch of a type that has no such service.
auto no_service(const char *who, const char *why) {
    return [who, why](const Disk &) {
        ERR_TRACE(HAL_TRACE_CALL, "%s: %s\n", who, why);
        return -1;
    };
}

// A SATA disk behind a SAS controller: on the enclosure's internal SAS, or in a SAS enclosure.
bool behind_sas_controller(int enc_id) {
    uint32_t capability = 0;
    if (SE_Get_Capability(enc_id, &capability) == 0 && (capability & CAP_INTERNAL_SAS))
        return true;
    return SE_Get_Protocol(enc_id) == ENC_PROTOCOL_SAS;
}

}  // namespace

extern "C" int PD_SMART_Get_ATA_Info(int enc_id, int port_id, int *smart_status_out,
                                     SMART_ATTR *attrs, int attrs_size, int *test_status_out,
                                     int *test_percent_out, int *short_minutes_out,
                                     int *extended_minutes_out) {
    Disk d;
    if (!find_disk(enc_id, port_id, d, false))
        return -1;
    return pd_sys_get_ata_smart(d.enc_sys_id, d.pd_sys_id, smart_status_out, attrs, attrs_size,
                                test_status_out, test_percent_out, short_minutes_out,
                                extended_minutes_out);
}

extern "C" int PD_Get_SCSI_Log_Pages(int enc_id, int port_id, int *sense_out,
                                     struct SAS_LOG_PAGE *pages, int pages_size) {
    Disk d;
    if (!find_disk(enc_id, port_id, d, false))
        return -1;
    return pd_sys_get_sas_smart(d.enc_sys_id, d.pd_sys_id, sense_out, pages, pages_size);
}

extern "C" int PD_Set_Self_Test_Mode(int enc_id, int port_id, int mode) {
    return by_type(
        __func__, enc_id, port_id,
        [&](const Disk &d) { return pd_sys_set_ata_self_test(d.enc_sys_id, d.pd_sys_id, mode); },
        [&](const Disk &d) { return pd_sys_set_sas_self_test(d.enc_sys_id, d.pd_sys_id, mode); });
}

extern "C" int PD_Get_Power_Status(int enc_id, int port_id, int *power_out) {
    return by_type(
        __func__, enc_id, port_id,
        [&](const Disk &d) { return pd_sys_get_ata_power(d.enc_sys_id, d.pd_sys_id, power_out); },
        [&](const Disk &d) { return pd_sys_get_sas_power(d.enc_sys_id, d.pd_sys_id, power_out); });
}

extern "C" int PD_Set_Power_Standby(int enc_id, int port_id) {
    Disk d;
    if (!find_disk(enc_id, port_id, d, true))
        return -1;
    if (d.type == PD_TYPE_SAS)
        return pd_sys_set_sas_standby(d.enc_sys_id, d.pd_sys_id);
    if (d.type != PD_TYPE_SATA)
        return unknown_type(__func__, d.type);
    if (!behind_sas_controller(enc_id))
        return pd_sys_set_ata_standby(d.enc_sys_id, d.pd_sys_id);
    // Behind a SAS controller an ATA command only gets through a link that the controller runs
    // at 12 Gb/s; otherwise the disk is put to standby the SCSI way.
    PD_INFO info = {};
    if (pd_sys_getinfo(d.enc_sys_id, d.pd_sys_id, &info) != 0 ||
        info.max_speed == PD_LINK_SPEED_12G)
        return pd_sys_set_ata_standby(d.enc_sys_id, d.pd_sys_id);
    return pd_sys_set_sas_standby(d.enc_sys_id, d.pd_sys_id);
}

extern "C" int PD_Set_Error_Recovery_Timer(int enc_id, int port_id, int is_write_timer, int timer) {
    // SCT error recovery control is an ATA feature; the SAS backend has no counterpart.
    return by_type(
        __func__, enc_id, port_id,
        [&](const Disk &d) {
            return pd_sys_set_ata_error_timer(d.enc_sys_id, d.pd_sys_id, is_write_timer, timer);
        },
        no_service(__func__, "have not implement."));
}

extern "C" int PD_Get_Error_Recovery_Timer(int enc_id, int port_id, int is_write_timer,
                                           int *timer_out) {
    return by_type(
        __func__, enc_id, port_id,
        [&](const Disk &d) {
            return pd_sys_get_ata_error_timer(d.enc_sys_id, d.pd_sys_id, is_write_timer, timer_out);
        },
        no_service(__func__, "have not implement."));
}

extern "C" int PD_Get_SCSI_Self_Test_Status(int enc_id, int port_id, int *status_out,
                                            int *percent_out) {
    // A SATA disk's self test is read from its SMART data instead.
    return by_type(
        __func__, enc_id, port_id,
        [who = __func__](const Disk &d) { return unknown_type(who, d.type); },
        [&](const Disk &d) {
            return pd_sys_get_sas_self_test_progress(d.enc_sys_id, d.pd_sys_id, status_out,
                                                     percent_out);
        });
}

extern "C" int PD_SMART_Get_Summary(int enc_id, int port_id, PD_SMART_SUMMARY *out) {
    PD_SMART_INFO *smart = nullptr;
    PD_INFO info = {};
    int result = PD_SMART_Read_Info(enc_id, port_id, &smart);
    result |= PD_Get_Info(enc_id, port_id, &info);
    if (!out || result != 0 || !smart) {
        free(smart);
        return -1;
    }
    out->port_id = port_id;
    out->status = smart->summary_status;
    // Cut at the record's 64 bytes when vendor, model and revision are all long.
    char full[sizeof info.vendor + sizeof info.model + sizeof info.revision + 3];
    snprintf(full, sizeof full, "%s %s %s", info.vendor, info.model, info.revision);
    nashal::hal_copy(out->description, sizeof out->description, full);
    char size[32];
    Get_Size_Str(info.capacity, info.sector_size, SIZE_UNIT_GB, size, sizeof size);
    out->capacity_gb = static_cast<float>(atof(size));
    out->status2 = smart->summary_status;
    out->temperature = PD_SMART_Get_Temperature(smart);
    out->last_test_time = static_cast<int32_t>(pd_smart_get_last_test_time(enc_id, port_id));
    out->last_test_type = PD_SMART_Get_Last_Test_Type(enc_id, port_id);
    out->value = smart->summary_value;
    out->temperature_type = pd_smart_get_temp_type(enc_id, port_id);
    free(smart);
    return 0;
}

namespace {

void set_read_speed(int enc_id, int port_id, const char *value) {
    char file[HAL_NAME_LEN], section[HAL_NAME_LEN];
    snprintf(file, sizeof file, "/etc/enclosure_%d.conf", enc_id);
    snprintf(section, sizeof section, "PhysicalDisk_%d", port_id);
    if (Ini_Conf_Set_Field(file, section, "read_speed", value) < 0)
        ERR_TRACE(HAL_TRACE_WARN, "%s: set %s fail!\n", "PD_set_checking_read_speed", "read_speed");
}

}  // namespace

extern "C" int PD_set_checking_read_speed(int enc_id, int port_id) {
    // "testing" first, so that a reader sees the measurement running.
    set_read_speed(enc_id, port_id, "testing");
    char name[64];
    if (PD_Get_Sys_Name(enc_id, port_id, name, sizeof name) < 0)
        return -1;
    char cmd[512];
    if (nashal::hal_build_command(__func__, cmd, sizeof cmd, "/sbin/hdparm -t %s", name) < 0)
        return 0;
    nashal::PipeHandle pipe(popen(cmd, "r"));
    if (!pipe)
        return 0;
    char line[1024];
    char label[64] = "", speed[64] = "";
    while (fgets(line, sizeof line, pipe.get()))
        if (strstr(line, "Timing buffered disk reads"))
            sscanf(line, " Timing buffered disk reads:  %63[^=] = %63[^=]", label, speed);
    pipe.close();
    // The speed text is kept as hdparm prints it, less the line break, which a record can't hold.
    speed[strcspn(speed, "\n")] = '\0';
    set_read_speed(enc_id, port_id, speed[0] ? speed : "fail");
    return 0;
}
