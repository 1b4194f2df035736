// Small readers shared by the topology files: a bounded attribute read and sysfs class paths.
#ifndef NASHAL_TOPOLOGY_SYSFS_READ_H
#define NASHAL_TOPOLOGY_SYSFS_READ_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/raii.h"
#include "topology/model_file.h"

namespace nashal::topology {

constexpr const char *kScsiGenericClass = "/sys/class/scsi_generic";
constexpr const char *kSasExpanderClass = "/sys/class/sas_expander";
constexpr const char *kUsbDevices = "/sys/bus/usb/devices";

// Reads at most `limit` bytes of a file into buf (which must hold limit bytes). Returns the
// count, -1 when the file can't be opened (errno kept), or the negative read result.
inline int read_attribute(const char *path, char *buf, size_t limit) {
    FileDescriptor fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (!fd)
        return -1;
    ssize_t n;
    do {
        n = ::read(fd.get(), buf, limit);
    } while (n < 0 && errno == EINTR);
    return static_cast<int>(n);
}

// True when `text` begins with `prefix`.
inline bool starts_with(const char *text, const char *prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SYSFS_READ_H
