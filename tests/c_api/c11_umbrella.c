/* A daemon written in C includes the one umbrella header and links against the library. */
#include <nashal/hal.h>

#include <stdio.h>

/* A daemon in C lays out the SMART records as the library does: the cache format and the
 * allocation of PD_SMART_Read_Info depend on it. */
_Static_assert(sizeof(SMART_ATTR) == 88, "a SMART attribute is 88 bytes");
_Static_assert(sizeof(PD_SMART_INFO) == 48, "the SMART record header is twelve words");

int main(void) {
    ENC_INFO info = {0};
    info.capability = CAP_INTERNAL | CAP_NO_ESATA;
    info.protocol = ENC_PROTOCOL_ROOT;
    if (HAL_PD_ID(1, 3) != 0x10003) {
        puts("pd id packing is wrong");
        return 1;
    }
    /* Links the trace and the utilities; sets state only, writes nothing on the machine. */
    if (HAL_Set_Debug(HAL_TRACE_DEFAULT_MASK, "/var/log/hal_lib.log") != 0) {
        puts("HAL_Set_Debug failed");
        return 1;
    }
    {
        const unsigned char mac[6] = {0x00, 0x08, 0x9b, 0xaa, 0xbb, 0xcc};
        char text[18];
        if (Translate_MAC_Bin_To_ASCII(mac, 6, text, (int)sizeof text) != 17) {
            puts("MAC text is wrong");
            return 1;
        }
    }
    printf("%u\n", (unsigned)(info.capability >> 31));
    return 0;
}
