// One slot of the model file to the disk that sits in it: the PCI descent and the host step.
#include "nashal/pd_sys.h"

extern "C" int lookup_disk_in_root(int, const char *, const char *, int, int, char *) {
    return -1;
}
extern "C" int get_sdev_host(const char *, int, int *, int *) {
    return -1;
}
extern "C" int __get_sdev_host(const char *, int *, int *) {
    return -1;
}
