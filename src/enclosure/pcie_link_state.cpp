// The link of a card in a PCIe slot of the main unit, from the PCI Express capability in the
// configuration space of the card's function.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "enclosure/pci_config_layout.h"
#include "foundation/byte_order.h"
#include "foundation/raii.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

namespace {

namespace cfg = nashal::enclosure::pci_config;

// A capability list that loops or runs on is no list: this many entries are looked at.
constexpr int kMaxCapabilities = 9;

bool append_step(char *path, size_t size, int device) {
    char step[HAL_SYSFS_PATH_LEN];
    if (comm_sys_get_pci_bus(path, "pci_bus", nullptr, device, step, sizeof step) != 0)
        return false;
    size_t len = strnlen(path, size);
    if (len + strlen(step) >= size)
        return false;
    memcpy(path + len, step, strlen(step) + 1);
    return true;
}

bool has_bus(const char *path) {
    return comm_sys_search_partial_filename(path, "pci_bus", nullptr, 0) == 0;
}

}  // namespace

extern "C" int se_sys_get_pcie_link_state(const char *enc_sys_id, int slot, int *link_speed,
                                          int *link_width, int *max_width) {
    if (!link_speed || !link_width || !max_width)
        return -1;
    *link_speed = 0;
    *link_width = 0;
    if (!enc_sys_id || strcmp(enc_sys_id, "root") != 0)
        return -1;
    char section[HAL_NAME_LEN];
    snprintf(section, sizeof section, "System PCIE SLOT %d", slot + 1);
    *max_width = nashal::topology::model_int_or(section, "MAX_PCIE_LINK_WIDTH", 8);
    char dev_bus[HAL_ID_LEN] = {};
    if (!nashal::topology::model_text(section, "DEV_BUS", dev_bus))
        return -1;
    const int domain = nashal::topology::model_int_or(section, "DEV_DOMAIN", 0);
    const int switch_port =
        nashal::topology::model_int_or(section, "PCI_SWITCH_PORT", -1, INI_CONF_HEX);

    // The slot's root port, the card behind it, and behind a switch on the card the port that
    // the model names.
    char path[HAL_SYSFS_PATH_LEN];
    if (comm_sys_get_path_from_c_dev_bus(domain, dev_bus, path, sizeof path) != 0 || !has_bus(path))
        return -1;
    if (!append_step(path, sizeof path, 0) ||
        (has_bus(path) && (switch_port == -1 || !append_step(path, sizeof path, switch_port)))) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }

    char file[HAL_SYSFS_PATH_LEN];
    if (snprintf(file, sizeof file, "%s/config", path) >= static_cast<int>(sizeof file))
        return -1;
    uint8_t config[cfg::kExtendedSize] = {};
    ssize_t got = 0;
    {
        nashal::FileDescriptor fd(open(file, O_RDONLY | O_CLOEXEC));
        if (!fd)
            return -1;
        got = read(fd.get(), config, sizeof config);
    }
    if (got < static_cast<ssize_t>(cfg::kStandardSize))
        return -1;
    const size_t size = static_cast<size_t>(got);

    size_t at = config[cfg::kCapabilitiesPointer];
    for (int n = 0; n < kMaxCapabilities; ++n) {
        if (at == 0 || at + cfg::kLinkStatus + 2 > size)
            return -1;
        if (config[at + cfg::kCapId] == cfg::kCapIdPciExpress) {
            const unsigned status = nashal::load_le16(config + at + cfg::kLinkStatus);
            const unsigned speed = status & cfg::kLinkSpeedMask;
            if (speed == 1 || speed == 2)
                *link_speed = static_cast<int>(speed);
            *link_width = static_cast<int>((status >> cfg::kLinkWidthShift) & cfg::kLinkWidthMask);
            return 0;
        }
        at = config[at + cfg::kCapNext];
    }
    return -1;
}
