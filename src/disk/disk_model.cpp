// List, path and USB link helpers of the disk lookups.
#include "disk/disk_model.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/ini_conf.h"

namespace nashal::disk {

bool list_store(char **list, int room, int *stored, const char *id) {
    if (!list || *stored < 0 || *stored >= room)
        return false;
    char *copy = strdup(id);
    if (!copy)
        return false;
    list[(*stored)++] = copy;
    return true;
}

bool path_append(char *path, const char *text) {
    size_t have = strlen(path);
    size_t add = strlen(text);
    if (have + add >= static_cast<size_t>(kPathLen))
        return false;
    memcpy(path + have, text, add + 1);
    return true;
}

bool dir_has_prefix(const char *directory, const char *prefix) {
    return comm_sys_search_partial_filename(directory, prefix, nullptr, 0) == 0;
}

int number_behind(const char *name, const char *prefix) {
    size_t len = strlen(prefix);
    if (strncmp(name, prefix, len) != 0 || !isdigit(static_cast<unsigned char>(name[len])))
        return -1;
    long n = strtol(name + len, nullptr, 10);
    return n > INT_MAX ? -1 : static_cast<int>(n);
}

bool usb_bus_from_path(const char *link, char (&bus)[kIdLen]) {
    bus[0] = '\0';
    const char *host = strstr(link, "/host");
    if (!host || host == link)
        return false;
    const char *start = host;
    while (start > link && start[-1] != '/')
        --start;
    size_t len = static_cast<size_t>(host - start);
    const char *colon = static_cast<const char *>(memchr(start, ':', len));
    if (colon)
        len = static_cast<size_t>(colon - start);
    if (len == 0)
        return false;
    hal_copy(bus, sizeof(bus), start, len);
    return true;
}

int usb_link_speed(const char *bus, bool *read) {
    char text[kIdLen];
    bool ok = comm_sys_get_usb_attribute(bus, "speed", text, sizeof(text)) == 0 && text[0] != '\0';
    if (read)
        *read = ok;
    return ok ? common_sys_transfer_pd_link_speed(1, text) : 0;
}

}  // namespace nashal::disk
