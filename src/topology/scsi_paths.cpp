// SCSI names in sysfs: targets, device types, generic nodes, the SES device of a SAS expander,
// and the expander names in a device's link. Missing entries are ordinary answers (-1): disks
// and enclosures come and go.
#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/comm_path.h"
#include "nashal/hal_trace.h"
#include "topology/sysfs_read.h"

using nashal::DirHandle;
using nashal::hal_copy;
using nashal::topology::read_attribute;
using nashal::topology::starts_with;

extern "C" {

int comm_sys_search_partial_filename(const char *directory, const char *prefix, char *name,
                                     int size) {
    if (!directory || !prefix)
        return -1;
    DirHandle dir(opendir(directory));
    if (!dir)
        return -1;
    while (struct dirent *entry = readdir(dir.get())) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        if (!starts_with(entry->d_name, prefix))
            continue;
        if (name && size > 0)
            hal_copy(name, static_cast<size_t>(size), entry->d_name);
        return 0;
    }
    return -1;
}

int comm_sys_get_num_behind_string(const char *text, const char *word) {
    if (!text || !word)
        return -1;
    const char *found = strstr(text, word);
    if (!found)
        return -1;
    return static_cast<int>(strtol(found + strlen(word), nullptr, 10));
}

int comm_sys_get_sdev_target_bus(const char *directory, char *name) {
    // The whole entry name, so that only the 32 bytes of `name` cut what stands behind "target".
    char entry[HAL_NAME_LEN];
    if (!name || comm_sys_search_partial_filename(directory, "target", entry, sizeof entry) != 0)
        return -1;
    hal_copy(name, HAL_ID_LEN, entry + strlen("target"));
    return 0;
}

int comm_sys_get_sdev_type(const char *directory) {
    if (!directory)
        return -1;
    char path[HAL_SYSFS_PATH_LEN];
    if (snprintf(path, sizeof path, "%s/type", directory) >= static_cast<int>(sizeof path))
        return -1;
    char text[HAL_ID_LEN] = {};
    int n = read_attribute(path, text, sizeof text - 1);
    if (n <= 0)
        return -1;
    return static_cast<int>(strtol(text, nullptr, 10));
}

int comm_sys_get_sdev_sysid(char *path, char *sysid) {
    if (!path || !sysid)
        return -1;
    // The caller's buffer is a sysfs path buffer; the suffix stays on it, as callers expect.
    size_t len = strnlen(path, HAL_SYSFS_PATH_LEN);
    const char suffix[] = "/generic/dev";
    if (len + sizeof suffix > HAL_SYSFS_PATH_LEN) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error..dir_search = %s\n", __func__, __LINE__,
                  path);
        return -1;
    }
    memcpy(path + len, suffix, sizeof suffix);
    char text[HAL_ID_LEN + 1] = {};
    int n = read_attribute(path, text, HAL_ID_LEN);
    if (n <= 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error..dir_search = %s\n", __func__, __LINE__,
                  path);
        return -1;
    }
    int major = 0;
    int minor = 0;
    if (sscanf(text, "%d:%d", &major, &minor) != 2 || major != SCSI_GENERIC_MAJOR)
        return -1;
    snprintf(sysid, HAL_ID_LEN, "sg%d", minor);
    return 0;
}

int comm_sys_get_sg_name(const char *id, char *name) {
    if (!id || !name || !strstr(id, "sg"))
        return -1;
    hal_copy(name, 16, id);
    return 0;
}

int comm_sys_get_sg_path_info(const char *sg_name, char *path, int size) {
    if (!sg_name || !path || size <= 1)
        return -1;
    char link[HAL_SYSFS_PATH_LEN];
    snprintf(link, sizeof link, "%s/%s", nashal::topology::kScsiGenericClass, sg_name);
    const size_t room = static_cast<size_t>(size) - 1;
    ssize_t n = readlink(link, path, room);
    if (n < 0) {
        snprintf(link, sizeof link, "%s/%s/device", nashal::topology::kScsiGenericClass, sg_name);
        n = readlink(link, path, room);
    }
    if (n < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error:errno = %d\n", __func__, __LINE__, errno);
        path[0] = '\0';
        return static_cast<int>(n);
    }
    path[n] = '\0';
    // readlink cuts silently; a link that fills the room may have lost its end.
    if (static_cast<size_t>(n) >= room) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):Buffer insufficent , need > %d\n", __func__, __LINE__,
                  size);
        return -1;
    }
    return 0;
}

int comm_sys_get_sysid_of_sas_enclosure(const char *expander, char *sysid) {
    if (!expander || !sysid)
        return -1;
    char device[HAL_SYSFS_PATH_LEN];
    snprintf(device, sizeof device, "%s/%s/device", nashal::topology::kSasExpanderClass, expander);
    DirHandle dir(opendir(device));
    if (!dir) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Internal Error\n", __func__, __LINE__);
        return -1;
    }
    while (struct dirent *entry = readdir(dir.get())) {
        if (!starts_with(entry->d_name, "port-"))
            continue;
        const char *port = entry->d_name + strlen("port-");
        char end_device[HAL_SYSFS_PATH_LEN];
        if (snprintf(end_device, sizeof end_device, "%s/%s/end_device-%s", device, entry->d_name,
                     port) >= static_cast<int>(sizeof end_device))
            continue;
        char target[HAL_ID_LEN];
        if (comm_sys_get_sdev_target_bus(end_device, target) != 0) {
            // A port towards a further expander has no end device: an expected miss, kept in
            // the log at the level a field engineer reads by default.
            ERR_TRACE(HAL_TRACE_WARN, "%s(%d):path = %s no end_device\n", __func__, __LINE__,
                      end_device);
            continue;
        }
        char sdev[HAL_SYSFS_PATH_LEN];
        if (snprintf(sdev, sizeof sdev, "%s/target%s/%s:0", end_device, target, target) >=
            static_cast<int>(sizeof sdev))
            continue;
        if (comm_sys_get_sdev_type(sdev) != SCSI_TYPE_ENCLOSURE)
            continue;
        if (comm_sys_get_sdev_sysid(sdev, sysid) == 0)
            return 0;
        // The services device is there but its generic node can't be read (yet): the walk ends
        // here, with nothing found, as when no port has the device at all.
        ERR_TRACE(HAL_TRACE_ERROR, "%s%d:System Internal Error\n", __func__, __LINE__);
        break;
    }
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Wait Enclosure ready\n", __func__, __LINE__);
    return -1;
}

int comm_sys_get_sas_bus(char *path, char **parent, char **self) {
    if (!path)
        return -1;
    char *found = strstr(path, "expander");
    if (!found)
        return -1;
    char *previous = nullptr;
    char *last = nullptr;
    while (found) {
        previous = last;
        last = found;
        char *slash = strchr(found, '/');
        if (!slash) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error\n", __func__, __LINE__);
            break;
        }
        *slash = '\0';
        found = strstr(slash + 1, "expander");
    }
    if (parent)
        *parent = previous;
    if (self)
        *self = last;
    return 0;
}

int comm_sys_get_device_class(const char *path, int *dev_class) {
    if (!path || !dev_class)
        return -1;
    char file[HAL_SYSFS_PATH_LEN];
    snprintf(file, sizeof file, "%s/class", path);
    nashal::FileDescriptor fd(::open(file, O_RDONLY | O_CLOEXEC));
    if (!fd) {
        // No class file: counted as a storage controller.
        *dev_class = 1;
        return 0;
    }
    char text[HAL_ID_LEN + 1] = {};
    ssize_t n = ::read(fd.get(), text, HAL_ID_LEN);
    if (n < 0)
        return static_cast<int>(n);
    size_t len = strlen(text);
    if (len > 0 && (text[len - 1] == '\n' || text[len - 1] == '\r'))
        text[len - 1] = '\0';
    *dev_class = static_cast<int>(strtol(text, nullptr, 0) >> 16);
    return 0;
}

}  // extern "C"
