// Names inside the disk registry's files: the record section of a disk and the index entries,
// built in the registry's 64-byte name buffers, and the fields of a record in the order they
// are written.
#ifndef NASHAL_REGISTRY_DISK_FILES_H
#define NASHAL_REGISTRY_DISK_FILES_H

#include <cstddef>
#include <cstdio>

#include "nashal/hal_pd.h"
#include "registry/registry_files.h"

namespace nashal::registry {

constexpr const char *kPdBitmap = "pd_bitmap";

// Where a disk's record lives: "PhysicalDisk_%d" of /etc/enclosure_%d.conf, or "BootDisk_%d"
// of /etc/hal.conf for a boot disk.
struct DiskRecord {
    char file[kNameLen];
    char section[kNameLen];
    DiskRecord(int enc_id, int port_id, bool boot = false) {
        if (boot)
            snprintf(file, sizeof file, "%s", HAL_CONF_FILE);
        else
            snprintf(file, sizeof file, "/etc/enclosure_%d.conf", enc_id);
        snprintf(section, sizeof section, boot ? "BootDisk_%d" : "PhysicalDisk_%d", port_id);
    }
};

// "pd_sysid_%s" in the Index of /etc/enclosure_%d.conf; "pd_wwn_%s" in the Index of
// /etc/hal.conf.
struct PdSysIdField {
    char name[kNameLen];
    explicit PdSysIdField(const char *pd_sys_id) {
        snprintf(name, sizeof name, "pd_sysid_%s", pd_sys_id);
    }
};
struct PdWwnField {
    char name[kNameLen];
    explicit PdWwnField(const char *wwn) { snprintf(name, sizeof name, "pd_wwn_%s", wwn); }
};

// One field of a disk record and where it sits in PD_INFO.
enum class PdFieldKind { kText, kInt, kUint, kUint64, kWwn };
struct PdField {
    const char *key;
    PdFieldKind kind;
    size_t offset;
    size_t size;    // the buffer a text is read into
    bool required;  // PD_Get_Info fails without it
};

// The fields in the order they are written.
extern const PdField kPdFields[];
extern const size_t kPdFieldCount;

}  // namespace nashal::registry

#endif  // NASHAL_REGISTRY_DISK_FILES_H
