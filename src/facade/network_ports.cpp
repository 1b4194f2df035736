// The Net_ interface: a scan that renames the ports, their count, and three calls that remain
// for old callers and always fail (the HAL_MB_ forms work).
#include "nashal/hal_mb.h"
#include "nashal/net_sys.h"

extern "C" {

int Net_Scan(void) {
    return net_sys_enumerate();
}

int Net_NIC_Get_Count(int type) {
    // Types 0 and 2 are the wired ports; other kinds are not counted here.
    if (type != 0 && type != 2)
        return 0;
    return net_sys_get_wire_count();
}

int Net_NIC_Get_Speed(int, int *) {
    return -1;
}

int Net_NIC_Get_MAC(int, char *, int) {
    return -1;
}

int Net_NIC_Set_MAC(int, const char *) {
    return -1;
}

}  // extern "C"
