/* CMOS settings and port primitives: serial frames, I/O ports, gpiolib. */
#ifndef NASHAL_COMM_PORT_H
#define NASHAL_COMM_PORT_H

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_COMM_PORT_H */
