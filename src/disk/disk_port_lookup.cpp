// A known disk to its slot: the physical port and the slot of the model file.
#include "nashal/pd_sys.h"

extern "C" int get_physical_drive_port(const char *, int *, int *) {
    return -1;
}
extern "C" int get_pd_port_id(const char *, const char *, int, int, PD_INFO *) {
    return -1;
}
extern "C" int disk_is_in_esata_port_multiplier(const char *, const char *) {
    return 0;
}
