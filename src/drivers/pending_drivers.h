// Driver calls that the I2C code and the model selection use but that are built elsewhere (the
// Super I/O services and the PCIe link facts). Each stand-in in
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
int se_sys_get_pcie_link_state(const char *enc_sys_id, int slot, int *link_speed, int *link_width,
                               int *max_width);
}

#endif  // NASHAL_DRIVERS_PENDING_DRIVERS_H
