// One USB port of the board to the disk LUNs behind it.
#include "nashal/pd_sys.h"

extern "C" int lookup_disk_in_root_usb_hub(int, const char *, const char *, int, int, int, int,
                                           char **, int) {
    return 0;
}
