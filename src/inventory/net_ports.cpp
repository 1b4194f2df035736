// Renaming the Ethernet interfaces. The kernel numbers interfaces in probe order, which need not
// match the labels on the case; the model file's "System Network %d" rows give the PCI position
// of each label, and each interface is renamed to the label found at its position. Interface
// flags and names change only through the machine seam's ioctls.
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "inventory/net_paths.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "nashal/net_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"
#include "topology/sysfs_read.h"

using nashal::hal_copy;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_int;
using nashal::topology::model_text;

namespace {

constexpr const char *kVirtualBus = "B-1:virtual";

// One "System Network %d" row: the position of a label.
struct NetRow {
    uint32_t domain = 0;
    char dev_bus[HAL_ID_LEN] = {};
    int32_t pci_switch_port = 0;
    int32_t port = 0;
};

// The number after the last "." of a PCI name ("0000:03:00.1" gives 1): its function.
int32_t number_after_last_dot(const char *name) {
    const char *dot = strrchr(name, '.');
    return dot ? static_cast<int32_t>(strtol(dot + 1, nullptr, 10)) : 0;
}

// Copies the path component that starts at p (up to the next "/") into out, and returns where
// the next component starts ("" at the end).
const char *take_component(const char *p, char *out, size_t size) {
    size_t n = strcspn(p, "/");
    hal_copy(out, size, p, n);
    return p[n] == '/' ? p + n + 1 : p + n;
}

// A datagram socket for the interface ioctls; traces its own failure.
nashal::FileDescriptor interface_socket(const char *who) {
    nashal::FileDescriptor sock(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!sock)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Open socket error\n", who, __LINE__);
    return sock;
}

void show(const NET_CB *table, int count) {
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Show NET_CB structure:\n", __func__, __LINE__);
    for (int i = 0; i < count; ++i) {
        const NET_CB &cb = table[i];
        ERR_TRACE(HAL_TRACE_INFO,
                  "%s(%d):[%d] name = %s, new_name = %s, domain = %u, dev_bus = %s, "
                  "bridge_bus = %s, pci_switch_port = %d, port = %d\n",
                  __func__, __LINE__, i, cb.name, cb.new_name, cb.domain, cb.dev_bus, cb.bridge_bus,
                  cb.pci_switch_port, cb.port);
    }
}

// The number of an "eth%d" name, -1 for any other.
int eth_number(const char *name) {
    if (strncmp(name, "eth", 3) != 0 || name[3] < '0' || name[3] > '9')
        return -1;
    return static_cast<int>(strtol(name + 3, nullptr, 10));
}

bool row_matches(const NetRow &row, const NET_CB &cb) {
    return strcmp(row.dev_bus, cb.dev_bus) == 0 && row.pci_switch_port == cb.pci_switch_port &&
           row.port == cb.port && row.domain == cb.domain;
}

// The first port number a card in the PCIe slot at `dev_bus` takes: the internal ports come
// first, then two numbers per slot. -1 when no slot has that bus.
int get_net_pcie_port_base(const char *dev_bus) {
    int32_t slots = 0;
    int32_t internal = 0;
    model_int(kSystemEnclosure, "MAX_PCIE_SLOT", &slots, INI_CONF_HEX);
    model_int(kSystemEnclosure, "INTERNAL_NET_PORT_NUM", &internal);
    for (int slot = 1; slot <= slots; ++slot) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "System PCIE SLOT %d", slot);
        char bus[HAL_ID_LEN];
        if (model_text(section, "DEV_BUS", bus) && strcmp(bus, dev_bus) == 0)
            return internal + (slot - 1) * 2;
    }
    return -1;
}

// Numbers are bits of a 32-bit map, a set bit being free: a search never leaves it.
constexpr int kNumberBits = 32;

bool is_free(uint32_t map, int n) {
    return n >= 0 && n < kNumberBits && (map >> n) & 1u;
}

void take(uint32_t &map, int n) {
    if (n >= 0 && n < kNumberBits)
        map &= ~(1u << n);
}

void give_back(uint32_t &map, int n) {
    if (n >= 0 && n < kNumberBits)
        map |= 1u << n;
}

int lowest_free(uint32_t map) {
    return ffs(static_cast<int>(map)) - 1;
}

void set_number(NET_CB &cb, int *numbers, int i, int n) {
    numbers[i] = n;
    snprintf(cb.new_name, sizeof cb.new_name, "eth%d", n);
}

}  // namespace

extern "C" {

int is_pci_bridge(const char *a, const char *b) {
    if (!a || !b)
        return 0;
    unsigned domain = 0, bus = 0, device = 0, function = 0;
    if (sscanf(a, "%x:%x:%x.%x", &domain, &bus, &device, &function) != 4)
        return 0;
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "/sys/devices/pci%04x:%02x/%04x:%02x:%02x.%d/%s/class", domain, bus,
             domain, bus, device, static_cast<int>(function), b);
    char text[32] = {};
    if (nashal::topology::read_attribute(path, text, sizeof text - 1) <= 0)
        return 0;
    long value = strtol(text, nullptr, 0);
    return ((value >> 16) & 0xff) == 6;
}

int parse_net_port_from_path(const char *path, int32_t *switch_port, int32_t *port) {
    if (!path || !switch_port || !port)
        return -1;
    const char *root = strstr(path, "pci00");
    if (!root)
        root = strstr(path, "platform");
    const char *slash = root ? strchr(root, '/') : nullptr;
    if (!slash) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    // Work on a copy: the caller's path stays as it was.
    char rest[HAL_SYSFS_PATH_LEN];
    hal_copy(rest, sizeof rest, slash + 1);
    // The class folder "net" ends the device's own path. Cut at that component, not at any
    // "net": a platform device may well be called "ethernet.0".
    for (char *p = rest; (p = strstr(p, "net")) != nullptr; p += 3) {
        if ((p == rest || p[-1] == '/') && (p[3] == '/' || p[3] == '\0')) {
            *p = '\0';
            break;
        }
    }
    char a[HAL_ID_LEN];
    char b[HAL_SYSFS_PATH_LEN];
    const char *after_a = take_component(rest, a, sizeof a);
    const char *after_b = take_component(after_a, b, sizeof b);
    // The controller right on the root bus (A), or behind one root port (B): its function.
    if (*after_a == '\0' || *after_b == '\0') {
        *switch_port = -1;
        *port = number_after_last_dot(*after_a == '\0' ? a : b);
        return 0;
    }
    if (!is_pci_bridge(a, b)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):%s/%s is not a PCI bridge\n", __func__, __LINE__, a, b);
        return -1;
    }
    char c[HAL_SYSFS_PATH_LEN];
    take_component(after_b, c, sizeof c);
    const char *colon = strrchr(c, ':');
    if (c[0] == '\0' || !colon) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):no device behind the switch in %s\n", __func__, __LINE__,
                  path);
        return -1;
    }
    // The device number of the switch's downstream port, hexadecimal as in every PCI name.
    *switch_port = static_cast<int32_t>(strtol(colon + 1, nullptr, 16));
    *port = 0;
    return 0;
}

int set_net_state(const char *name, int up, uint32_t *old_state) {
    if (!name)
        return -1;
    nashal::FileDescriptor sock = interface_socket(__func__);
    if (!sock)
        return -1;
    struct ifreq ifr = {};
    hal_copy(ifr.ifr_name, sizeof ifr.ifr_name, name);
    if (os_ioctl(sock.get(), SIOCGIFFLAGS, &ifr) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ioctl SIOCGIFFLAGS error\n", __func__, __LINE__);
        return -1;
    }
    bool is_up = (ifr.ifr_flags & IFF_UP) != 0;
    if (old_state)
        *old_state = is_up ? 1 : 0;
    if (is_up == (up != 0))
        return 0;
    if (up)
        ifr.ifr_flags = static_cast<short>(ifr.ifr_flags | IFF_UP);
    else
        ifr.ifr_flags = static_cast<short>(ifr.ifr_flags & ~IFF_UP);
    if (os_ioctl(sock.get(), SIOCSIFFLAGS, &ifr) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ioctl SIOCSIFFLAGS error\n", __func__, __LINE__);
        return -1;
    }
    return 0;
}

int change_net_name(const char *old_name, const char *new_name) {
    if (!old_name || !new_name)
        return -1;
    nashal::FileDescriptor sock = interface_socket(__func__);
    if (!sock)
        return -1;
    struct ifreq ifr = {};
    hal_copy(ifr.ifr_name, sizeof ifr.ifr_name, old_name);
    hal_copy(ifr.ifr_newname, sizeof ifr.ifr_newname, new_name);
    int r = os_ioctl(sock.get(), SIOCSIFNAME, &ifr);
    if (r < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ioctl SIOCSIFNAME error = %d\n", __func__, __LINE__, r);
        return -1;
    }
    return 0;
}

int get_net_phy_addr(const char *name, int32_t *phy) {
    if (!name || !phy)
        return -1;
    nashal::FileDescriptor sock = interface_socket(__func__);
    if (!sock)
        return -1;
    struct ethtool_cmd cmd = {};
    cmd.cmd = ETHTOOL_GSET;
    struct ifreq ifr = {};
    hal_copy(ifr.ifr_name, sizeof ifr.ifr_name, name);
    ifr.ifr_data = reinterpret_cast<char *>(&cmd);
    if (os_ioctl(sock.get(), SIOCETHTOOL, &ifr) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):ioctl SIOCETHTOOL error\n", __func__, __LINE__);
        return -1;
    }
    *phy = cmd.phy_address;
    return 0;
}

int net_dev_getinfo(NET_CB *cb, const char *name) {
    if (!cb || !name)
        return -1;
    hal_copy(cb->name, sizeof cb->name, name);
    char path[HAL_SYSFS_PATH_LEN];
    char link[HAL_SYSFS_PATH_LEN] = {};
    snprintf(path, sizeof path, "%s/%s", nashal::inventory::kNetClass, name);
    ssize_t n = readlink(path, link, sizeof link - 1);
    if (n < 0) {
        snprintf(path, sizeof path, "%s/%s/device", nashal::inventory::kNetClass, name);
        n = readlink(path, link, sizeof link - 1);
    }
    if (n < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    link[n] = '\0';
    int domain = 0;
    if (comm_sys_assemble_dev_bus_from_path(link, &domain, cb->dev_bus, sizeof cb->dev_bus,
                                            cb->bridge_bus, sizeof cb->bridge_bus) == 0) {
        cb->domain = static_cast<uint32_t>(domain);
        return parse_net_port_from_path(link, &cb->pci_switch_port, &cb->port) == 0 ? 0 : -1;
    }
    // No place on a bus: a virtual interface (a switch chip's port), told apart by the address
    // of its PHY, which the driver only answers while the interface is up.
    uint32_t was_up = 0;
    if (set_net_state(name, 1, &was_up) != 0)
        return -1;
    int32_t phy = -1;
    int r = get_net_phy_addr(name, &phy);
    if (!was_up)
        set_net_state(name, 0, nullptr);
    if (r != 0)
        return -1;
    cb->domain = 0;
    hal_copy(cb->dev_bus, sizeof cb->dev_bus, kVirtualBus);
    cb->bridge_bus[0] = '\0';
    cb->pci_switch_port = -1;
    cb->port = phy;
    return 0;
}

int net_dev_init(NET_CB *table, int max) {
    nashal::DirHandle dir(opendir(nashal::inventory::kNetClass));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (eth_number(entry->d_name) < 0)
            continue;
        if (!table || count >= max) {
            ++count;
            continue;
        }
        NET_CB cb = {};
        if (net_dev_getinfo(&cb, entry->d_name) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):net_dev_getinfo: ptr->d_name = %s ignore\n",
                      __func__, __LINE__, entry->d_name);
            continue;
        }
        table[count++] = cb;
    }
    return count;
}

int net_dev_conf_mapping(NET_CB *table, int count) {
    if (!table || count < 0 || count > NET_MAX_PORTS)
        return -1;
    int32_t rows_num = -1;
    if (!model_int(kSystemEnclosure, "MAX_NET_PORT_NUM", &rows_num) || rows_num > NET_MAX_PORTS ||
        rows_num < count) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Some network setting error in configure file \n",
                  __func__, __LINE__);
        return -1;
    }
    NetRow rows[NET_MAX_PORTS];
    for (int r = 0; r < rows_num; ++r) {
        char section[HAL_NAME_LEN];
        snprintf(section, sizeof section, "System Network %d", r + 1);
        NetRow row;
        int32_t port = 0;
        if (!model_text(section, "DEV_BUS", row.dev_bus) || !model_int(section, "DEV_PORT", &port))
            continue;  // an unreadable row stays zeroed and matches no interface
        row.port = port;
        row.pci_switch_port = -1;
        model_int(section, "PCI_SWITCH_PORT", &row.pci_switch_port);
        int32_t domain = 0;
        model_int(section, "DEV_DOMAIN", &domain);
        row.domain = static_cast<uint32_t>(domain);
        rows[r] = row;
    }

    uint32_t map = 0xffffffffu;
    int numbers[NET_MAX_PORTS];
    int spare = count;
    for (int i = 0; i < count; ++i) {
        int found = -1;
        // Two rows naming one place (a copy-paste slip in a model file) would send two
        // interfaces to one name and stop the renaming half-way: a number already given is
        // passed over.
        for (int r = 0; r < rows_num && found < 0; ++r)
            if (row_matches(rows[r], table[i]) && is_free(map, r))
                found = r;
        if (found < 0) {
            ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Can't find eth from model.conf\n", __func__,
                      __LINE__);
            found = spare++;
        }
        set_number(table[i], numbers, i, found);
        take(map, found);
    }
    if (lowest_free(map) == count)
        return 0;

    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Rearrange ethernet position by PCIE BUS,eth_bit_map = 0x%x\n",
              __func__, __LINE__, map);
    for (int i = 0; i < count; ++i) {
        if (numbers[i] < count)
            continue;
        int base = get_net_pcie_port_base(table[i].dev_bus);
        if (base < 0)
            continue;
        int n = base;
        while (n < kNumberBits && !is_free(map, n))
            ++n;
        if (n >= kNumberBits)
            continue;
        give_back(map, numbers[i]);
        take(map, n);
        set_number(table[i], numbers, i, n);
    }
    if (lowest_free(map) != count) {
        for (int i = 0; i < count; ++i) {
            if (numbers[i] < count)
                continue;
            int n = lowest_free(map);
            if (n < 0)
                break;
            give_back(map, numbers[i]);
            take(map, n);
            set_number(table[i], numbers, i, n);
        }
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Rearrange ethernet position,eth_bit_map = 0x%x\n",
                  __func__, __LINE__, map);
    }
    if (lowest_free(map) != count)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Rearrange ethernet fail\n", __func__, __LINE__);
    return 0;
}

int net_dev_assign_newname(NET_CB *table, int count) {
    if (!table || count < 0)
        return -1;
    bool all_right = true;
    for (int i = 0; i < count; ++i)
        all_right = all_right && strcmp(table[i].name, table[i].new_name) == 0;
    if (all_right) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Don't need to change net device name\n", __func__,
                  __LINE__);
        return 0;
    }
    // Two passes: a target name may still be held by another interface of the table.
    char temporary[NET_MAX_PORTS][NET_NAME_LEN];
    for (int i = 0; i < count; ++i) {
        snprintf(temporary[i], sizeof temporary[i], "%.11s_tmp", table[i].name);
        if (set_net_state(table[i].name, 0, &table[i].old_state) != 0 ||
            change_net_name(table[i].name, temporary[i]) != 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
    }
    for (int i = 0; i < count; ++i) {
        if (change_net_name(temporary[i], table[i].new_name) != 0 ||
            (table[i].old_state && set_net_state(table[i].new_name, 1, nullptr) != 0)) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            return -1;
        }
    }
    return 0;
}

int net_sys_enumerate(void) {
    NET_CB table[NET_MAX_PORTS] = {};
    int count = net_dev_init(table, NET_MAX_PORTS);
    if (count < 0 || count > NET_MAX_PORTS) {
        ERR_TRACE(HAL_TRACE_ERROR,
                  "%s(%d):Network Interface too much or occur some error,if_num = %d\n", __func__,
                  __LINE__, count);
        return -1;
    }
    int r = net_dev_conf_mapping(table, count);
    if (r != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Network Configure mapping error\n", __func__, __LINE__);
        return r;
    }
    show(table, count);
    if (net_dev_assign_newname(table, count) != 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):renaming stopped\n", __func__, __LINE__);
    set_net_state("lo", 1, nullptr);
    return count;
}

int net_sys_get_wire_count(void) {
    int count = net_dev_init(nullptr, 0);
    return count < 0 ? 0 : count;
}

}  // extern "C"
