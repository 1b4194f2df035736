// Driver calls that the I2C code and the model selection use but that are built elsewhere (the
// Super I/O and SoC GPIO services, CPU facts). Each stand-in in
// pending_drivers.cpp is a weak symbol that answers "not there" with a trace; the change that
// builds the real call replaces it without touching this code.
#ifndef NASHAL_DRIVERS_PENDING_DRIVERS_H
#define NASHAL_DRIVERS_PENDING_DRIVERS_H

#include <fcntl.h>

#include <cstdint>

extern "C" {
int sio_sys_enable_pmbus_locked(int value);
int sio_sys_get_gpio_val(int gpio, int *value);
int sio_sys_get_chip_id(uint16_t *chip_id);
int ich_sys_get_gpio_val(int pin, int *value);
int soc_sys_get_gpio_val(int pin, int *value);
int se_sys_get_cpu_info(const char *enc_sys_id, char *buffer, int size);
}

#endif  // NASHAL_DRIVERS_PENDING_DRIVERS_H
