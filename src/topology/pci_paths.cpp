// PCI places: from a model value ("B03:D00:F0", "B-1:ahci.0") to a sysfs directory, one bus
// step at a time down bridges and PCIe switches, and back from a sysfs path to the model's bus
// text. sysfs writes bus, device and function in hexadecimal; the model file in decimal.
#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/shell_command.h"
#include "foundation/text.h"
#include "nashal/comm_model.h"
#include "nashal/comm_path.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "topology/sysfs_read.h"

using nashal::DirHandle;
using nashal::hal_copy;
using nashal::topology::starts_with;

namespace {

// Splits "dddd:bb:dd.f" (hexadecimal) into its four numbers; false when a separator is missing.
bool split_pci_name(const char *name, int *domain, int *bus, int *device, int *function) {
    const char *c1 = strchr(name, ':');
    if (!c1)
        return false;
    const char *c2 = strchr(c1 + 1, ':');
    if (!c2)
        return false;
    const char *dot = strchr(c2 + 1, '.');
    if (!dot)
        return false;
    *domain = static_cast<int>(strtol(name, nullptr, 16));
    *bus = static_cast<int>(strtol(c1 + 1, nullptr, 16));
    *device = static_cast<int>(strtol(c2 + 1, nullptr, 16));
    *function = static_cast<int>(strtol(dot + 1, nullptr, 16));
    return true;
}

// The text from `start` up to the next "/" (or the end), bounded.
void component(const char *start, char *out, size_t size) {
    const char *slash = strchr(start, '/');
    size_t len = slash ? static_cast<size_t>(slash - start) : strlen(start);
    hal_copy(out, size, start, len);
}

// Whether a text formatted into the caller's buffer (snprintf's result `ret`) fits whole. A cut
// text would name another device, or none, as though it were this one: the path builders fail
// on it instead, traced under the public function's name, with the text cleared.
bool fits(int ret, char *text, int size, const char *caller, int line) {
    if (ret >= 0 && ret < size)
        return true;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ret = %d, buffer_len = %d\n", caller, line, ret, size);
    text[0] = '\0';
    return false;
}

bool append(char *path, size_t size, const char *text) {
    size_t len = strnlen(path, size);
    size_t add = strlen(text);
    if (len + add >= size)
        return false;
    memcpy(path + len, text, add + 1);
    return true;
}

}  // namespace

extern "C" {

int comm_sys_get_pci_dev_path(int domain, int bus, int device, int function, char *path, int size) {
    if (!path || size <= 0)
        return -1;
    char command[HAL_CMD_LEN];
    char answer[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command,
                                  "/bin/busybox find /sys/devices -name pci%04x:%02x", domain,
                                  bus) < 0 ||
        comm_sys_read_from_popen(command, answer, sizeof answer) <= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Internal Error.\n", __func__, __LINE__);
        return -1;
    }
    // One root bus matches; should find print more, the first line is the one.
    answer[strcspn(answer, "\n")] = '\0';
    int ret = snprintf(path, static_cast<size_t>(size), "%s/%04x:%02x:%02x.%d", answer, domain, bus,
                       device, function);
    return fits(ret, path, size, __func__, __LINE__) ? 0 : -1;
}

int comm_sys_get_internal_dev_path(const char *name, char *path, int size) {
    if (!name || !path || size <= 0)
        return -1;
    int ret = snprintf(path, static_cast<size_t>(size), "/sys/devices/platform/%s", name);
    return fits(ret, path, size, __func__, __LINE__) ? 0 : -1;
}

int comm_sys_get_path_from_c_dev_bus(int domain, const char *value, char *path, int size) {
    if (!value)
        return -1;
    int32_t bus = 0;
    int32_t device = 0;
    int32_t function = 0;
    if (comm_sys_parse_c_dev_bus(value, &bus, &device, &function) == 0)
        return comm_sys_get_pci_dev_path(domain, bus, device, function, path, size);
    char name[HAL_ID_LEN];
    if (comm_sys_parse_c_internal_driver(value, name, sizeof name) == 0)
        return comm_sys_get_internal_dev_path(name, path, size);
    return -1;
}

int comm_sys_get_pci_bus(const char *path, const char *name, const char *bridge_value, int device,
                         char *text, int size) {
    if (!path || !name || !text || size <= 0)
        return -1;
    char bus[HAL_NAME_LEN];
    if (starts_with(name, "pci_bus:")) {
        hal_copy(bus, sizeof bus, name + strlen("pci_bus:"));
    } else {
        char dir[HAL_SYSFS_PATH_LEN];
        if (snprintf(dir, sizeof dir, "%s/%s", path, name) >= static_cast<int>(sizeof dir) ||
            comm_sys_search_partial_filename(dir, "00", bus, sizeof bus) != 0)
            return -1;
    }
    int ret;
    if (bridge_value) {
        int32_t dev = 0;
        int32_t function = 0;
        if (comm_sys_parse_c_dev_bus(bridge_value, nullptr, &dev, &function) != 0)
            return -1;
        ret = snprintf(text, static_cast<size_t>(size), "/%s:%02x.%d", bus, dev, function);
    } else {
        ret = snprintf(text, static_cast<size_t>(size), "/%s:%02x.0", bus, device);
    }
    return fits(ret, text, size, __func__, __LINE__) ? 0 : -1;
}

int comm_sys_get_num_pci_bus(const char *path, const char *name, int n, int ignored, int device,
                             char *text, int size) {
    (void)ignored;
    if (!path || !name || !text || size <= 0)
        return -1;
    char dir_path[HAL_SYSFS_PATH_LEN];
    if (snprintf(dir_path, sizeof dir_path, "%s/%s", path, name) >=
        static_cast<int>(sizeof dir_path))
        return -1;
    DirHandle dir(opendir(dir_path));
    if (!dir)
        return -1;
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (!starts_with(entry->d_name, "00"))
            continue;
        ++count;
        int ret = snprintf(text, static_cast<size_t>(size), "/%s:%02x.0", entry->d_name, device);
        if (!fits(ret, text, size, __func__, __LINE__))
            return -1;
        if (count >= n || count >= 10)
            break;
    }
    return count > 0 ? 0 : -1;
}

int comm_sys_get_pair_bus_switch(char *path, int port) {
    if (!path)
        return -1;
    if (port < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    if (comm_sys_search_partial_filename(path, "pci_bus", nullptr, 0) != 0)
        return 0;
    const size_t base = strnlen(path, HAL_SYSFS_PATH_LEN);
    for (int n = 1; n < 3; ++n) {
        char step[HAL_SYSFS_PATH_LEN];
        if (comm_sys_get_num_pci_bus(path, "pci_bus", n, 0, 0, step, sizeof step) != 0)
            break;
        if (!append(path, HAL_SYSFS_PATH_LEN, step))
            break;
        if (comm_sys_search_partial_filename(path, "pci_bus", nullptr, 0) == 0) {
            // The child is a switch's upstream port: go on to the chosen downstream port.
            if (comm_sys_get_pci_bus(path, "pci_bus", nullptr, port, step, sizeof step) != 0 ||
                !append(path, HAL_SYSFS_PATH_LEN, step))
                return -1;
            return 0;
        }
        memset(path + base, 0, HAL_SYSFS_PATH_LEN - base);
    }
    return -1;
}

int comm_sys_assemble_dev_bus_from_path(const char *path, int *domain, char *bus_text, int bus_size,
                                        char *bridge_text, int bridge_size) {
    if (!path || !domain || !bus_text || bus_size <= 0 || !bridge_text || bridge_size <= 0)
        return -1;
    char name[HAL_SYSFS_PATH_LEN];
    int dom = 0;
    int bus = 0;
    int dev = 0;
    int fn = 0;
    if (const char *root = strstr(path, "pci00")) {
        const char *slash = strchr(root, '/');
        if (!slash || slash[1] == '\0')
            return -1;
        component(slash + 1, name, sizeof name);
        if (!split_pci_name(name, &dom, &bus, &dev, &fn))
            return -1;
        *domain = dom;
        if (!fits(
                snprintf(bus_text, static_cast<size_t>(bus_size), "B%02d:D%02d:F%d", bus, dev, fn),
                bus_text, bus_size, __func__, __LINE__))
            return -1;
        const char *rest = slash + 1 + strlen(name);
        const char *next = strstr(rest, "00");
        if (!next) {
            bridge_text[0] = '\0';
            return 0;
        }
        component(next, name, sizeof name);
        if (!split_pci_name(name, &dom, &bus, &dev, &fn))
            return -1;
        return fits(snprintf(bridge_text, static_cast<size_t>(bridge_size), "B%02d:D%02d:F%d", bus,
                             dev, fn),
                    bridge_text, bridge_size, __func__, __LINE__)
                   ? 0
                   : -1;
    }
    if (const char *platform = strstr(path, "platform")) {
        *domain = 0;
        const char *slash = strchr(platform, '/');
        if (!slash || slash[1] == '\0')
            return -1;
        component(slash + 1, name, sizeof name);
        if (!fits(snprintf(bus_text, static_cast<size_t>(bus_size), "B-1:%s", name), bus_text,
                  bus_size, __func__, __LINE__))
            return -1;
        const char *after = slash + 1 + strlen(name);
        if (*after == '/' && after[1] != '\0') {
            component(after + 1, name, sizeof name);
            if (strchr(name, '.'))
                return fits(snprintf(bridge_text, static_cast<size_t>(bridge_size), "B-1:%s", name),
                            bridge_text, bridge_size, __func__, __LINE__)
                           ? 0
                           : -1;
        }
        bridge_text[0] = '\0';
        return 0;
    }
    if (strstr(path, "virtual")) {
        *domain = 0;
        bridge_text[0] = '\0';
    }
    return -1;
}

}  // extern "C"
