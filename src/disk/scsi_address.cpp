// Small readers shared by the disk lookups: the SCSI address in a device's link text, and the
// drive type names of the model file.
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "nashal/pd_sys.h"

extern "C" int get_disk_drv_type(const char *text) {
    if (!text)
        return 0;
    static const struct {
        const char *name;
        int code;
    } kTypes[] = {{"USB", DISK_DRV_TYPE_USB},
                  {"ATA", DISK_DRV_TYPE_ATA},
                  {"SCSI", DISK_DRV_TYPE_SCSI},
                  {"SAS", DISK_DRV_TYPE_SAS},
                  {"FLASH", DISK_DRV_TYPE_FLASH}};
    for (const auto &t : kTypes)
        if (strcasecmp(text, t.name) == 0)
            return t.code;
    return 0;
}

// The address stands in the component behind the first "target" one:
// ".../target2:0:3/2:0:3:0/scsi_generic/sg4" gives 2, 0, 3, 0.
extern "C" int get_scsi_address(const char *link_text, int *host, int *channel, int *target,
                                int *lun) {
    if (!link_text || !host || !channel || !target || !lun)
        return -1;
    const char *p = strstr(link_text, "target");
    if (!p || !(p = strchr(p, '/')))
        return -1;
    ++p;
    int *out[] = {host, channel, target, lun};
    for (int i = 0; i < 4; ++i) {
        *out[i] = atoi(p);
        if (i < 3) {
            const char *colon = strchr(p, ':');
            const char *slash = strchr(p, '/');
            if (!colon || (slash && slash < colon))
                return -1;
            p = colon + 1;
        }
    }
    return 0;
}
