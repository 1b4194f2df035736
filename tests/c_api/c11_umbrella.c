/* A daemon written in C includes the one umbrella header and links against the library. */
#include <nashal/hal.h>

#include <stdio.h>

int main(void) {
    ENC_INFO info = {0};
    info.capability = CAP_INTERNAL | CAP_NO_ESATA;
    info.protocol = ENC_PROTOCOL_ROOT;
    if (HAL_PD_ID(1, 3) != 0x10003) {
        puts("pd id packing is wrong");
        return 1;
    }
    printf("%u\n", (unsigned)(info.capability >> 31));
    return 0;
}
