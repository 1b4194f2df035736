// The block device of a SCSI generic device, waited for while the kernel brings it up.
#include "nashal/pd_sys.h"

extern "C" int get_sd_name(const char *, char *, int) {
    return -1;
}
