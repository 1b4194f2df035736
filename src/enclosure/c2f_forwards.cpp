// The enclosure backend's C2F calls: the reservation lives in CMOS, whatever the enclosure.
#include "nashal/comm_port.h"

extern "C" {

int se_sys_set_c2f_to_cmos(int enable, int size) {
    return comm_sys_set_c2f_to_cmos(enable, size);
}

int se_sys_get_c2f_from_cmos(int32_t *enable, int32_t *size) {
    return comm_sys_get_c2f_from_cmos(enable, size);
}

}  // extern "C"
