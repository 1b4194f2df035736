// A known disk to the enclosure that holds it.
#include "nashal/pd_sys.h"

extern "C" int check_usb_in_boot_enclosure(const char *, const char *, int, int, int, int *) {
    return -1;
}
extern "C" int disk_in_system_enclosure(const char *, int, int) {
    return -1;
}
extern "C" int disk_in_esata_enclosure(const char *, int) {
    return -1;
}
extern "C" int disk_in_cache_enclosure(const char *, int) {
    return -1;
}
extern "C" int PD_Sys_Get_SE_Sys_Id(const char *, char *) {
    return -1;
}
