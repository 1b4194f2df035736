// Small readers shared by the disk lookups: SCSI address of a link text, drive type names.
#include "nashal/pd_sys.h"

extern "C" int get_disk_drv_type(const char *) {
    return 0;
}
extern "C" int get_scsi_address(const char *, int *, int *, int *, int *) {
    return -1;
}
