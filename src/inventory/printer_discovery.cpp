// USB printers: the printer class devices ("lp0", ...) of the USB class directory, their IEEE 1284
// device id (vendor and model), the enclosure they sit in and the front-panel port that holds
// them. Every call looks at the tree afresh.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/hal_prt.h"
#include "nashal/hal_trace.h"
#include "topology/sysfs_read.h"

using nashal::hal_copy;

namespace {

// The kernel's printer driver registers its devices in "usbmisc" (older kernels: "usb").
const char *class_dir() {
    struct stat st;
    if (stat("/sys/class/usbmisc", &st) == 0 && S_ISDIR(st.st_mode))
        return "/sys/class/usbmisc";
    return "/sys/class/usb";
}

constexpr size_t kDeviceIdMax = 1024;

// The long and short key of one field of the device id.
struct IdKeys {
    const char *long_key;
    const char *short_key;
};
constexpr IdKeys kVendorKeys = {"MANUFACTURER:", "MFG:"};
constexpr IdKeys kModelKeys = {"MODEL:", "MDL:"};

// Where `key` begins a field of the id: at its start or behind a ";" (blanks allowed), so that
// a key's letters inside another field's value ("DES:...MDL:...") are not taken for it.
const char *find_key(const char *id, const char *key) {
    size_t len = strlen(key);
    for (const char *p = strstr(id, key); p; p = strstr(p + 1, key)) {
        const char *q = p;
        while (q > id && (q[-1] == ' ' || q[-1] == '\t'))
            --q;
        if (q == id || q[-1] == ';')
            return p + len;
    }
    return nullptr;
}

// Reads the device id and copies the value of the field into out (size bytes). 0, or -1 when
// the id can't be read. A key with no ";" behind it leaves out as it was; no key gives
// "unknow".
int read_id_field(const char *name, const IdKeys &keys, char *out, int size) {
    if (!name || !out || size <= 0)
        return -1;
    std::unique_ptr<char[]> id(new (std::nothrow) char[kDeviceIdMax + 1]);
    char path[HAL_SYSFS_PATH_LEN];
    snprintf(path, sizeof path, "%s/%s/device/ieee1284_id", class_dir(), name);
    int n = id ? nashal::topology::read_attribute(path, id.get(), kDeviceIdMax) : -1;
    if (n <= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    id[n] = '\0';
    const char *value = find_key(id.get(), keys.long_key);
    if (!value)
        value = find_key(id.get(), keys.short_key);
    if (!value) {
        hal_copy(out, static_cast<size_t>(size), PRT_UNKNOWN_TEXT);
        return 0;
    }
    const char *end = strchr(value, ';');
    if (end)
        hal_copy(out, static_cast<size_t>(size), value, static_cast<size_t>(end - value));
    return 0;
}

// Where a printer sits on the USB tree.
struct PrinterPlace {
    int domain = 0;
    char bus[HAL_ID_LEN] = {};
    char bridge[HAL_ID_LEN] = {};
    char node[HAL_ID_LEN] = {};  // "1-2.3"
    int layer = 0;
    int port = -1;
    int speed = 0;
};

// The USB node of a class device's link: the component in front of the interface
// ("1-2.3:1.0"), whose "/" precedes the link's last ":".
bool get_usb_node_from_path(const char *link, char *node, size_t size) {
    const char *colon = strrchr(link, ':');
    if (!colon)
        return false;
    const char *start = colon;
    while (start > link && start[-1] != '/')
        --start;
    if (start == colon)
        return false;
    hal_copy(node, size, start, static_cast<size_t>(colon - start));
    return true;
}

int printer_place(const char *name, PrinterPlace *place) {
    char path[HAL_SYSFS_PATH_LEN];
    char link[HAL_SYSFS_PATH_LEN] = {};
    snprintf(path, sizeof path, "%s/%s", class_dir(), name);
    ssize_t n = readlink(path, link, sizeof link - 1);
    if (n < 0) {
        snprintf(path, sizeof path, "%s/%s/device", class_dir(), name);
        n = readlink(path, link, sizeof link - 1);
    }
    if (n < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
        return -1;
    }
    link[n] = '\0';
    if (comm_sys_assemble_dev_bus_from_path(link, &place->domain, place->bus, sizeof place->bus,
                                            place->bridge, sizeof place->bridge) != 0 ||
        !get_usb_node_from_path(link, place->node, sizeof place->node)) {
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):%s has no place on a USB bus\n", __func__, __LINE__,
                  name);
        return -1;
    }
    place->layer = comm_sys_get_usb_layer(place->node);
    place->port = comm_sys_get_usb_port(place->node);
    if (place->port == -1)
        return -1;
    char speed[16];
    comm_sys_get_usb_attribute(place->node, "speed", speed, sizeof speed);
    place->speed = common_sys_transfer_pd_link_speed(1, speed);
    return place->speed == 0 ? -1 : 0;
}

}  // namespace

extern "C" {

int prt_sys_enumerate(char **names, int size) {
    nashal::DirHandle dir(opendir(class_dir()));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):can't open %s\n", __func__, __LINE__, class_dir());
        return -1;
    }
    int count = 0;
    while (struct dirent *entry = readdir(dir.get())) {
        if (strncmp(entry->d_name, "lp", 2) != 0)
            continue;
        if (names && count < size)
            names[count] = strdup(entry->d_name);
        ++count;
    }
    return count;
}

int get_printer_vendor(const char *name, char *vendor, int size) {
    return read_id_field(name, kVendorKeys, vendor, size);
}

int get_printer_model(const char *name, char *model, int size) {
    return read_id_field(name, kModelKeys, model, size);
}

int prt_get_enc_sys_id(const char *name, char *enc_sys_id) {
    if (!name || !enc_sys_id)
        return -1;
    PrinterPlace place;
    if (printer_place(name, &place) != 0)
        return -1;
    if (place.layer == 0 ||
        ((place.layer == 1 || place.layer == 2) &&
         comm_sys_get_root_usb_port_id(place.domain, place.bus, place.bridge, place.layer,
                                       place.port, place.speed, nullptr) == 0)) {
        hal_copy(enc_sys_id, HAL_ID_LEN, "root_usb");
        return 0;
    }
    // Behind a hub that no chassis port names: an expansion enclosure, named by that hub.
    if (char *dot = strrchr(place.node, '.'))
        *dot = '\0';
    snprintf(enc_sys_id, HAL_ID_LEN, "usb_%.27s", place.node);
    return 0;
}

int get_printer_usb_port(const char *name, int32_t *port) {
    if (!name || !port)
        return -1;
    PrinterPlace place;
    if (printer_place(name, &place) != 0)
        return -1;
    int found = 0;
    if (comm_sys_get_root_usb_port_id(place.domain, place.bus, place.bridge, place.layer,
                                      place.port, place.speed, &found) != 0)
        return 0;
    *port = found;
    return 1;
}

int prt_sys_getinfo(const char *name, PRT_INFO *info) {
    if (!name || !info)
        return -1;
    char enc_sys_id[HAL_ID_LEN] = {};
    prt_get_enc_sys_id(name, enc_sys_id);
    hal_copy(info->prt_sys_id, name);
    hal_copy(info->prt_ctrl_name, name);
    get_printer_vendor(info->prt_sys_id, info->vendor, sizeof info->vendor);
    int result = get_printer_model(info->prt_sys_id, info->model, sizeof info->model);
    if (strcmp(enc_sys_id, "root_usb") == 0) {
        int r = get_printer_usb_port(name, &info->port_id);
        if (r != 0)
            return r;
    }
    info->port_id = -1;
    return result;
}

int PRT_Sys_Attach(const char *prt_sys_id) {
    prt_attach(prt_sys_id);
    return 0;
}

int PRT_Sys_Detach(const char *prt_sys_id) {
    prt_detach(prt_sys_id);
    return 0;
}

}  // extern "C"
