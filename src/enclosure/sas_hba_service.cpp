// The SAS host bus adapter's service: its board name, serial number, WWN and firmware read
// with lsiutil, and its firmware flashed with sas2flash or sas3flash. The flash tools erase
// the board's name and serial number with the firmware, so both are saved and put back.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/se_board.h"
#include "topology/model_file.h"

using nashal::topology::model_int;
using nashal::topology::model_int_or;
using nashal::topology::model_text;

namespace {

constexpr size_t kHbaTextLen = 32;
// Room for an image path in the flash commands.
constexpr size_t kCommandLen = 256;

// One line of an lsiutil query into out, its final newline removed. The tool's failures leave
// out empty: an adapter that can't tell its name simply has none.
int hba_query(const char *format, int slot, char *out, int size) {
    char command[kCommandLen];
    out[0] = '\0';
    if (nashal::hal_build_command(__func__, command, sizeof command, format, slot) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, out, size);
    if (n <= 0) {
        out[0] = '\0';
        return -1;
    }
    out[strcspn(out, "\n")] = '\0';
    return 0;
}

// The PCI bus number of the adapter of `section`, as the flash tools' -cpci takes it: the
// function's directory is walked down as for the slot's link state, and the number behind the
// first ":" of the last step is read in decimal (a bus of 0x10 therefore comes out as 10).
int hba_pci_number(const char *section, const char *who) {
    char bus[HAL_ID_LEN] = {};
    if (!model_text(section, "DEV_BUS", bus))
        return -1;
    const int domain = model_int_or(section, "DEV_DOMAIN", 0);
    char path[HAL_SYSFS_PATH_LEN] = {};
    if (comm_sys_get_path_from_c_dev_bus(domain, bus, path, sizeof path) != 0)
        return -1;
    char step[HAL_ID_LEN * 2] = {};
    int32_t switch_port = -1;
    const bool has_switch_port = model_int(section, "PCI_SWITCH_PORT", &switch_port);
    for (int depth = 0; depth < 2; ++depth) {
        char entry[HAL_SYSFS_PATH_LEN + 16];
        snprintf(entry, sizeof entry, "%s/pci_bus", path);
        struct stat st {};
        if (stat(entry, &st) != 0) {
            if (depth == 0) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
                return -1;
            }
            break;  // the adapter itself
        }
        if (depth == 1 && !has_switch_port) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
            return -1;
        }
        const int device = depth == 0 ? 0 : switch_port;
        if (comm_sys_get_pci_bus(path, "pci_bus", nullptr, device, step, sizeof step) != 0 ||
            strlen(path) + strlen(step) >= sizeof path) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", who, __LINE__);
            return -1;
        }
        strcat(path, step);
    }
    const char *colon = strchr(step, ':');
    return colon ? atoi(colon + 1) : -1;
}

int system_error(const char *who, int line) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error.\n", who, line);
    return -1;
}

}  // namespace

extern "C" int se_sys_get_SAS_HBA_info(int slot, char *name, int name_size, char *serial,
                                       int serial_size, char *firmware, int firmware_size,
                                       char *wwn, int wwn_size) {
    if (name && name_size > 0)
        hba_query("/sbin/lsiutil --show_board_name slot=%d", slot, name, name_size);
    if (serial && serial_size > 0)
        hba_query("/sbin/lsiutil --show_board_serial slot=%d", slot, serial, serial_size);
    if (wwn && wwn_size > 0)
        hba_query("/sbin/lsiutil --show_board_WWN slot=%d", slot, wwn, wwn_size);
    if (firmware && firmware_size > 0) {
        firmware[0] = '\0';
        char fw[kHbaTextLen], nv[kHbaTextLen];
        if (hba_query("/sbin/lsiutil --show_board_firmware_ver slot=%d", slot, fw, sizeof fw) !=
                0 ||
            hba_query("/sbin/lsiutil --show_board_nvdata_ver slot=%d", slot, nv, sizeof nv) != 0)
            return system_error(__func__, __LINE__);
        snprintf(firmware, static_cast<size_t>(firmware_size), "%s_%s", fw, nv);
    }
    return 0;
}

extern "C" int se_sys_get_SAS_FW_fileinfo(const char *file_name, char *first, int first_size,
                                          char *second, int second_size) {
    if (!file_name || !first || !second || first_size <= 0 || second_size <= 0)
        return -1;
    char name[kHbaTextLen + 1] = {};
    nashal::hal_copy(name, sizeof name, file_name, kHbaTextLen);
    char *a = strchr(name, '_');
    char *b = a ? strchr(a + 1, '_') : nullptr;
    char *dot = b ? strrchr(b + 1, '.') : nullptr;
    if (!dot)
        return -1;
    nashal::hal_copy(first, static_cast<size_t>(first_size), a + 1, static_cast<size_t>(b - a - 1));
    nashal::hal_copy(second, static_cast<size_t>(second_size), b + 1,
                     static_cast<size_t>(dot - b - 1));
    return 0;
}

extern "C" int se_sys_upgrade_hba_fw(int slot, const char *image, char *version, int version_size,
                                     int sas_version) {
    if (!image || access(image, F_OK) != 0)
        return system_error(__func__, __LINE__);
    const char *tool = sas_version == 3 ? "sas3flash" : "sas2flash";
    printf("sas_version %d, sas_utility %s\n", sas_version, tool);
    fflush(stdout);

    char section[HAL_ID_LEN];
    if (slot == 0) {
        if (!(nashal::topology::root_capability() & CAP_INTERNAL_SAS))
            return system_error(__func__, __LINE__);
        nashal::hal_copy(section, nashal::topology::kInternalSas);
    } else {
        if (slot < 0 || slot > model_int_or(nashal::topology::kSystemEnclosure, "MAX_PCIE_SLOT", 0))
            return system_error(__func__, __LINE__);
        snprintf(section, sizeof section, "System PCIE SLOT %d", slot);
    }
    const int pci_num = hba_pci_number(section, __func__);
    if (pci_num < 0)
        return system_error(__func__, __LINE__);

    char name[kHbaTextLen] = {}, serial[kHbaTextLen] = {};
    se_sys_get_SAS_HBA_info(slot, name, sizeof name, serial, sizeof serial, nullptr, 0, nullptr, 0);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Start to update:slot_id = %d, pci_num = %d, fw = %s\n",
              __func__, __LINE__, slot, pci_num, image);

    // What the tools answer is not looked at: the version read afterwards tells what happened.
    char command[kCommandLen];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/sbin/%s -cpci %02x:0:0 -o -e 3 >& /dev/null", tool,
                                  pci_num) < 0)
        return system_error(__func__, __LINE__);
    (void)!system(command);
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/sbin/%s -cpci %02x:0:0 -f %s >& /dev/null", tool, pci_num,
                                  image) < 0)
        return system_error(__func__, __LINE__);
    (void)!system(command);
    if (name[0] &&
        nashal::hal_build_command(__func__, command, sizeof command,
                                  "/sbin/lsiutil --set_board_name slot=%d,name=%s", slot, name) > 0)
        (void)!system(command);
    if (serial[0] && nashal::hal_build_command(__func__, command, sizeof command,
                                               "/sbin/lsiutil --set_board_serial slot=%d,serial=%s",
                                               slot, serial) > 0)
        (void)!system(command);
    if (version && version_size > 0 &&
        se_sys_get_SAS_HBA_info(slot, nullptr, 0, nullptr, 0, version, version_size, nullptr, 0) !=
            0)
        return system_error(__func__, __LINE__);
    return 0;
}
