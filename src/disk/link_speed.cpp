// Link speed of a disk: its SATA link under /sys/class/ata_link, its phy on a SAS expander
// under /sys/class/sas_phy, its USB device's speed, or the register of a USB-to-SATA bridge.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk_info.h"
#include "disk/disk_model.h"
#include "disk/usb_bridge_layout.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/model_file.h"

using namespace nashal::disk;
using nashal::topology::model_text;

namespace {

constexpr int kKindAta = 2;
constexpr int kKindSas = 4;

// A sysfs text through "cat", given as the command's format and arguments, as a speed code.
template <typename... Args>
int cat_speed(const char *who, int kind, const char *format, Args... args) {
    char command[HAL_CMD_LEN * 2];
    char answer[HAL_ID_LEN];
    if (nashal::hal_build_command(who, command, sizeof command, format, args...) < 0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0)
        return -1;
    return common_sys_transfer_pd_link_speed(kind, answer);
}

int get_default_link_speed(const char *text) {
    if (strcasecmp(text, "PD_SATA_SAS_3G") == 0)
        return PD_LINK_SPEED_3G;
    if (strcasecmp(text, "PD_SATA_SAS_6G") == 0)
        return PD_LINK_SPEED_6G;
    if (strcasecmp(text, "PD_SATA_SAS_12G") == 0)
        return PD_LINK_SPEED_12G;
    return PD_LINK_SPEED_UNKNOWN;
}

const char *root_section(const char *enc_sys_id) {
    static const struct {
        const char *id;
        const char *section;
    } kSections[] = {{"root", "System Enclosure"},
                     {"root_esata", "Esata Enclosure"},
                     {"root_cache", "Cache Enclosure"},
                     {"root_boot", "Boot Enclosure"}};
    for (const auto &s : kSections) {
        if (strcmp(enc_sys_id, s.id) == 0)
            return s.section;
    }
    return nullptr;
}

void set_if_known(int code, int *out) {
    if (code > 0)
        *out = code;
}

}  // namespace

extern "C" {

int get_ata_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out) {
    char link[kPathLen];
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof link) != 0)
        return -1;
    if (char *host = strstr(link, "/host"))
        *host = '\0';
    const char *ata = nullptr;
    for (const char *p = strstr(link, "ata"); p; p = strstr(p + 1, "ata"))
        ata = p;
    if (!ata)
        return -1;
    int n = atoi(ata + 3);
    int speed = cat_speed(__func__, kKindAta, "cat %s/link%d/sata_spd", "/sys/class/ata_link", n);
    if (speed < 0)
        return -1;
    set_if_known(speed, speed_out);
    int max =
        cat_speed(__func__, kKindAta, "cat %s/link%d/hw_sata_spd_limit", "/sys/class/ata_link", n);
    if (max < 0)
        return -1;
    set_if_known(max, max_speed_out);
    return 0;
}

int get_sas_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out) {
    char link[kPathLen];
    char *expander = nullptr;
    int phy = -1;
    int switch_port = -1;
    if (comm_sys_get_sg_path_info(pd_sys_id, link, sizeof link) != 0 ||
        get_physical_drive_port(pd_sys_id, &phy, &switch_port) != 0 ||
        comm_sys_get_sas_bus(link, nullptr, &expander) != 0 || !expander ||
        !strchr(expander, '-')) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal Error.\n", __func__, __LINE__);
        return -1;
    }
    const char *name = strchr(expander, '-') + 1;
    // The phy's negotiated rate, then its highest.
    const struct {
        const char *format;
        int *out;
    } rates[] = {{"cat %s/phy-%s:%d/negotiated_linkrate", speed_out},
                 {"cat %s/phy-%s:%d/maximum_linkrate_hw", max_speed_out}};
    for (const auto &rate : rates) {
        int code = cat_speed(__func__, kKindSas, rate.format, "/sys/class/sas_phy", name, phy);
        if (code < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal Error.\n", __func__, __LINE__);
            return -1;
        }
        set_if_known(code, rate.out);
    }
    return 0;
}

int get_usb_disk_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out) {
    char bus[HAL_ID_LEN];
    *max_speed_out = 0;
    if (usb_bus_of_disk(pd_sys_id, bus) != 0)
        return -1;
    bool read = false;
    int speed = usb_link_speed(bus, &read);
    if (!read)
        return -1;
    set_if_known(speed, speed_out);
    return 0;
}

int get_usb_expander_conn_speed(const char *pd_sys_id, int *speed_out, int *max_speed_out) {
    char command[HAL_CMD_LEN];
    char answer[HAL_ID_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "%s -r 1 -b /dev/%s %x 1 0 %x %x 0 2> /dev/null", "/sbin/sg_raw",
                                  pd_sys_id, kBridgeReadOpcode, register_high(kBridgeLinkRegister),
                                  register_low(kBridgeLinkRegister)) < 0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0)
        return -1;
    auto code = [](unsigned nibble) {
        return nibble >= 1 && nibble <= 3 ? PD_LINK_SPEED_1_5G + static_cast<int>(nibble) - 1 : 0;
    };
    auto byte = static_cast<unsigned char>(answer[0]);
    set_if_known(code(byte >> 4), speed_out);
    set_if_known(code(byte & 0x0F), max_speed_out);
    return 0;
}

int pd_sys_get_conn_speed(const char *enc_sys_id, const char *pd_sys_id, int *speed_out,
                          int *max_speed_out) {
    if (!speed_out || !max_speed_out)
        return -1;
    *speed_out = 0;
    *max_speed_out = 0;
    if (!enc_sys_id || !pd_sys_id)
        return -1;
    int type;
    char text[HAL_ID_LEN];
    // The main unit's enclosures keep their drive type in /etc/model.conf; a Thunderbolt box
    // ("i2c") in "System Enclosure" of its own file.
    const char *section = root_section(enc_sys_id);
    const char *file = nashal::topology::kModelConf;
    if (!section && strncmp(enc_sys_id, "i2c", 3) == 0) {
        section = "System Enclosure";
        file = common_sys_get_thunderbolt_conf(enc_sys_id);
    }
    if (section) {
        if (!model_text(section, "DISK_DRV_TYPE", text, file))
            return -1;
        type = get_disk_drv_type(text);
        if (model_text(section, "DISK_DEFAULT_MAX_LINK_SPEED", text, file))
            *max_speed_out = get_default_link_speed(text);
    } else if (strcmp(enc_sys_id, "root_usb") == 0 || strncmp(enc_sys_id, "usb", 3) == 0) {
        type = DISK_DRV_TYPE_USB;
    } else if (comm_sys_check_is_sas_expander(enc_sys_id) == 0) {
        type = DISK_DRV_TYPE_SAS;
    } else {
        return -1;
    }
    switch (type) {
        case DISK_DRV_TYPE_USB: {
            if (strcmp(enc_sys_id, "root_usb") == 0)
                return get_usb_disk_conn_speed(pd_sys_id, speed_out, max_speed_out);
            const char *name = strstr(enc_sys_id, "usb_");
            if (!name) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal Error.\n", __func__, __LINE__);
                return -1;
            }
            if (comm_sys_check_usb_expander_type(name + 4, nullptr) == USB_EXPANDER_TYPE_PIC)
                return get_usb_expander_conn_speed(pd_sys_id, speed_out, max_speed_out);
            return get_usb_disk_conn_speed(pd_sys_id, speed_out, max_speed_out);
        }
        case DISK_DRV_TYPE_ATA:
            return get_ata_conn_speed(pd_sys_id, speed_out, max_speed_out);
        case DISK_DRV_TYPE_SCSI:
            ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Not implement\n", __func__, __LINE__);
            return -1;
        case DISK_DRV_TYPE_SAS:
            return get_sas_conn_speed(pd_sys_id, speed_out, max_speed_out);
        default:
            return -1;
    }
}

}  // extern "C"
