// Choosing the board's description at start-up. One firmware image serves many boards; the
// generic /etc/model.conf says how this one is told apart, and the chosen file then stands in
// its place as a symbolic link, so that every other reader just opens /etc/model.conf.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/pending_drivers.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/ini_conf.h"
#include "nashal/se_model.h"
#include "nashal/se_sys.h"
#include "nashal/soc_sys.h"
#include "nashal/vpd.h"
#include "topology/model_file.h"

using nashal::topology::kModelConf;
using nashal::topology::kSystemEnclosure;

namespace {

constexpr int kModelBits = 8;
// Device ids that mark a board variant by their presence.
constexpr uint16_t kVariantSuperIoChipId = 34593;
constexpr uint32_t kVariantHostBridgeId = 25217;
constexpr const char *kHostBridgeConfig = "/sys/bus/pci/devices/0000:00:00.0/config";

bool exists(const char *path) {
    struct stat st;
    return stat(path, &st) == 0;
}

// The value of one signal for the board id: 0 or 1, or -1 when it can't be read.
int model_bit_value(const char *method, int gpio, int inverted) {
    int value = 0;
    if (!std::strcmp(method, "ICH") || !std::strcmp(method, "PCH")) {
        if (ich_sys_get_gpio_val(gpio, &value) < 0)
            return -1;
        // Only the chipset's signals are ever wired inverted.
        if (inverted)
            return value != 1 ? 1 : 0;
        return value ? 1 : 0;
    }
    if (!std::strcmp(method, "SIO")) {
        if (gpio < 0) {
            uint16_t chip = 0;
            if (sio_sys_get_chip_id(&chip) < 0)
                return -1;
            return chip == kVariantSuperIoChipId ? 1 : 0;
        }
        if (sio_sys_get_gpio_val(gpio, &value) < 0)
            return -1;
        return value ? 1 : 0;
    }
    if (!std::strcmp(method, "SOC")) {
        if (gpio < 0) {
            nashal::FileDescriptor fd(open(kHostBridgeConfig, O_RDONLY));
            uint8_t config[4] = {};
            if (!fd.valid() || read(fd.get(), config, sizeof config) != sizeof config)
                return -1;
            uint32_t device = config[2] | (config[3] << 8);
            return device != kVariantHostBridgeId ? 1 : 0;
        }
        if (soc_sys_get_gpio_val(gpio, &value) < 0)
            return -1;
        return value ? 1 : 0;
    }
    if (!std::strcmp(method, "SATA"))
        return system(
                   "/bin/cat /proc/bus/pci/devices | /bin/busybox grep 7042 1>/dev/null "
                   "2>&1") == 0
                   ? 1
                   : 0;
    if (!std::strcmp(method, "NET"))
        return system(
                   "/bin/cat /proc/bus/pci/devices | /bin/busybox grep 1533 1>/dev/null "
                   "2>&1") == 0
                   ? 1
                   : 0;
    if (!std::strcmp(method, "CPU")) {
        char cpu[80] = {};
        if (se_sys_get_cpu_info("root", cpu, sizeof cpu) < 0)
            return 0;
        return std::strstr(cpu, "i3") || std::strstr(cpu, "i5") || std::strstr(cpu, "i7") ? 1 : 0;
    }
    return -1;
}

// Columns of a product identity field: code in 4-8, PCB version in 9-10, BOM version in 11.
struct BoardCodes {
    char product[16] = {};
    int pcb = -1;
    int bom = -1;
    bool pcb_legal = false;
    bool bom_legal = false;
};

// strtol base 0 that needs at least one digit.
bool read_number(const char *text, int *out) {
    char *end = nullptr;
    long value = std::strtol(text, &end, 0);
    if (end == text)
        return false;
    *out = static_cast<int>(value);
    return true;
}

BoardCodes board_codes(char (&field)[32]) {
    BoardCodes codes;
    // Taken from the back: each number is cut off behind its last column before it is read.
    field[12] = '\0';
    codes.bom_legal = read_number(field + 11, &codes.bom);
    field[11] = '\0';
    codes.pcb_legal = read_number(field + 9, &codes.pcb);
    field[9] = '\0';
    nashal::hal_copy(codes.product, field + 4);
    return codes;
}

}  // namespace

extern "C" int root_get_model_bit(int bit, char *method, int *gpio, int *inverted) {
    if (!method || !gpio || !inverted)
        return -1;
    *inverted = 0;
    char key[32];
    snprintf(key, sizeof key, "MODEL_BIT%d", bit);
    char value[32] = {};
    if (!nashal::topology::model_text(kSystemEnclosure, key, value))
        return -1;
    // A value without its ":" has no method to go by.
    char *rest = std::strchr(value, ':');
    if (!rest)
        return -1;
    *rest++ = '\0';
    nashal::hal_copy(method, 32, value);
    if (std::strstr(rest, "GP")) {
        // Any third field, whatever it says, marks the signal inverted.
        char *third = std::strchr(rest, ':');
        if (third) {
            *third = '\0';
            *inverted = 1;
        }
        *gpio = std::strlen(rest) >= 2 ? std::atoi(rest + 2) : 0;
        return 0;
    }
    if (std::strstr(rest, "REV")) {
        *gpio = -1;
        return 0;
    }
    return -1;
}

extern "C" int root_get_model_conf_id(uint32_t *id) {
    uint32_t board = 0;
    for (int bit = kModelBits - 1; bit >= 0; --bit) {
        char method[32] = {};
        int gpio = 0, inverted = 0;
        if (root_get_model_bit(bit, method, &gpio, &inverted) < 0)
            continue;
        int value = model_bit_value(method, gpio, inverted);
        if (value < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Error.\n", __func__, __LINE__);
            continue;
        }
        board |= static_cast<uint32_t>(value) << bit;
    }
    if (id)
        *id = board;
    return 0;
}

extern "C" int root_get_vpd_model_filename_by_pattern(char *path, int size, const char *prefix,
                                                      int mb_pcb, int bp_pcb) {
    if (!path || size <= 0 || !prefix)
        return -1;
    int best = 65535;
    int result = -1;
    char separator = bp_pcb < 0 ? '.' : '_';
    nashal::DirHandle dir(opendir("/etc"));
    if (!dir)
        return -1;
    size_t prefix_length = std::strlen(prefix);
    while (struct dirent *entry = readdir(dir.get())) {
        if (std::strncmp(entry->d_name, prefix, prefix_length) != 0)
            continue;
        char rest[32] = {};
        nashal::hal_copy(rest, entry->d_name + prefix_length);
        char *behind = std::strchr(rest, separator);
        if (behind)
            *behind++ = '\0';
        int file_mb = 0;
        if (!read_number(rest, &file_mb)) {
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d):MB PCB pattern of %s is not match...\n", __func__,
                      __LINE__, entry->d_name);
            continue;
        }
        int file_bp = bp_pcb;
        if (bp_pcb >= 0) {
            if (behind) {
                if (char *dot = std::strchr(behind, '.'))
                    *dot = '\0';
            }
            if (!behind || !read_number(behind, &file_bp)) {
                ERR_TRACE(HAL_TRACE_INFO, "%s(%d):BP PCB pattern of %s is not match...\n", __func__,
                          __LINE__, entry->d_name);
                continue;
            }
        }
        if (mb_pcb < file_mb || bp_pcb < file_bp)
            continue;
        int distance = (mb_pcb - file_mb) + (bp_pcb - file_bp);
        if (distance < best) {
            best = distance;
            snprintf(path, static_cast<size_t>(size), "/etc/%s", entry->d_name);
            result = 0;
            if (distance == 0)
                break;
        }
    }
    return result;
}

extern "C" int root_get_vpd_model_filename(char *path, int size, int format) {
    char field[32] = {};
    if (VPD_Get_Field_By_Id(VPD_MB_IDENTITY_FIELD, field, sizeof field) < 0)
        return -1;
    BoardCodes mb = board_codes(field);
    if (!mb.bom_legal) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):MB BOM code is illegal.\n", __func__, __LINE__);
        return -1;
    }
    if (!mb.pcb_legal) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):MB PCB code is illegal.\n", __func__, __LINE__);
        return -1;
    }
    char bp_field[32] = {};
    VPD_Get_Field_By_Id(VPD_BP_IDENTITY_FIELD, bp_field, sizeof bp_field);
    BoardCodes bp = board_codes(bp_field);
    if (!bp.bom_legal) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):BP BOM code is illegal.\n", __func__, __LINE__);
        bp.bom = -1;
    }
    if (!bp.pcb_legal) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):BP PCB code is illegal.\n", __func__, __LINE__);
        bp.pcb = -1;
        bp.product[0] = '\0';
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):MB_product_code = %s\n", __func__, __LINE__, mb.product);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):BP_product_code = %s\n", __func__, __LINE__, bp.product);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):MB_pcb = %02d\n", __func__, __LINE__, mb.pcb);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):BP_pcb = %02d\n", __func__, __LINE__, bp.pcb);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):MB_bom = %01d\n", __func__, __LINE__, mb.bom);
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):BP_bom = %01d\n", __func__, __LINE__, bp.bom);
    char prefix[64];
    int bp_pcb = -1;
    if (format == 1) {
        if (bp.pcb >= 0) {
            snprintf(prefix, sizeof prefix, "model_%s_%s_", mb.product, bp.product);
            bp_pcb = bp.pcb;
        } else {
            snprintf(prefix, sizeof prefix, "model_%s_", mb.product);
        }
    } else if (format == 2) {
        if (bp.pcb >= 0 && bp.bom >= 0) {
            snprintf(prefix, sizeof prefix, "model_%s_%s_%01d_%01d_", mb.product, bp.product,
                     mb.bom, bp.bom);
            bp_pcb = bp.pcb;
        } else {
            snprintf(prefix, sizeof prefix, "model_%s_%01d_", mb.product, mb.bom);
        }
    } else {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error.\n", __func__, __LINE__);
        return -1;
    }
    return root_get_vpd_model_filename_by_pattern(path, size, prefix, mb.pcb, bp_pcb);
}

extern "C" void root_check_pcie_wifi_module(void) {
    uint32_t cap = nashal::topology::root_capability();
    if (!(cap & CAP_PCIE_WIFI))
        return;
    int32_t slot = nashal::topology::model_int_or(kSystemEnclosure, "MAX_PCIE_SLOT", 0);
    int speed = 0, width = 0, max_width = 0;
    // Slots count from 0 there, so the slot after the last ordinary one is the module's place.
    if (se_sys_get_pcie_link_state("root", slot, &speed, &width, &max_width) == 0 && speed != 0 &&
        width != 0) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Found PCIE WIFI: link_speed = %d, link_width = %d\n",
                  __func__, __LINE__, speed, width);
        return;
    }
    cap &= ~CAP_PCIE_WIFI;
    // Written into the chosen file itself: the store would replace the link by a plain file.
    char target[64] = "/etc/";
    char link[33] = {};
    ssize_t n = readlink(kModelConf, link, 32);
    const char *file = kModelConf;
    if (n > 0) {
        link[n] = '\0';
        if (link[0] == '/')
            nashal::hal_copy(target, link);
        else
            std::strncat(target, link, sizeof target - std::strlen(target) - 1);
        file = target;
    }
    Ini_Conf_Set_Field_Int(file, kSystemEnclosure, "CAP", static_cast<int32_t>(cap), INI_CONF_HEX);
}

extern "C" int se_sys_setup_model_conf(void) {
    // The shown name is worked out from the model file, which may be about to change.
    Ini_Conf_Remove_Field(SE_PLATFORM_CONF_FILE, "MISC", "DISPLAY_NAME");
    char target[64] = {};
    nashal::hal_copy(target, kModelConf);
    int32_t format = 0;
    if (nashal::topology::model_int(kSystemEnclosure, "MULTI_CONF_FORMAT", &format) &&
        format >= 1) {
        char chosen[64] = {};
        if (root_get_vpd_model_filename(chosen, sizeof chosen, format) == 0) {
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Get model config file = %s\n", __func__, __LINE__,
                      chosen);
            if (unlink(kModelConf) != 0) {
                ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): ERROR: Can't remove original %s\n", __func__,
                          __LINE__, kModelConf);
                return -1;
            }
            nashal::hal_copy(target, chosen);
        }
        // Otherwise the generic file stays in force.
    } else {
        int32_t boards = 0;
        if (!nashal::topology::model_int(kSystemEnclosure, "MULTI_CONF", &boards, INI_CONF_HEX)) {
            root_check_pcie_wifi_module();
            return 0;
        }
        for (int bit = 0; bit < 32; ++bit) {
            if (!(static_cast<uint32_t>(boards) & (1u << bit)))
                continue;
            char candidate[64];
            snprintf(candidate, sizeof candidate, "/etc/model_%i.conf", bit);
            if (!exists(candidate)) {
                ERR_TRACE(HAL_TRACE_ERROR,
                          "%s(%d): ERROR:Multi model config but config = %s not exist.\n", __func__,
                          __LINE__, candidate);
                return -1;
            }
        }
        uint32_t board = 0;
        root_get_model_conf_id(&board);
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Get Board ID = 0x%x\n", __func__, __LINE__, board);
        if (unlink(kModelConf) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): ERROR: Can't remove original %s\n", __func__,
                      __LINE__, kModelConf);
            return -1;
        }
        // The board's own file need not be among those listed: a board without one is left
        // with a dangling link, which the first reader reports as a missing model.
        snprintf(target, sizeof target, "/etc/model_%i.conf", static_cast<int>(board));
    }
    if (std::strcmp(target, kModelConf) != 0 && symlink(target, kModelConf) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): ERROR: Can't create symblic link for %s -->%s\n",
                  __func__, __LINE__, kModelConf, target);
        return -1;
    }
    root_check_pcie_wifi_module();
    return 0;
}
