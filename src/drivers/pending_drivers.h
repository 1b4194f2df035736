// Driver calls that the I2C code and the model selection use but that are built elsewhere (the
// Super I/O services), declared here for their callers.
#ifndef NASHAL_DRIVERS_PENDING_DRIVERS_H
#define NASHAL_DRIVERS_PENDING_DRIVERS_H

#include <fcntl.h>

#include <cstdint>

extern "C" {
int sio_sys_enable_pmbus_locked(int value);
int sio_sys_get_gpio_val(int gpio, int *value);
int sio_sys_get_chip_id(uint16_t *chip_id);
}

#endif  // NASHAL_DRIVERS_PENDING_DRIVERS_H
