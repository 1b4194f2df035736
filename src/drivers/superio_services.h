// Helpers shared by the Super I/O service files: the chip the model names, the GPIOs it lists,
// and the blink workers.
#ifndef NASHAL_DRIVERS_SUPERIO_SERVICES_H
#define NASHAL_DRIVERS_SUPERIO_SERVICES_H

#include <cstdint>

namespace nashal::superio {

// Chip sets a call serves, as bit masks of chip indexes.
constexpr unsigned kAllChips = 0xF;
constexpr unsigned kGpioLedChips = 0x7;  // F71869A, IT87, F81866A
constexpr unsigned kF71869aOnly = 0x1;
constexpr unsigned kIt87Only = 0x2;

// The chip index of "SIO_DEVICE" when the call serves it. A missing value is -1; a chip outside
// `chips` traces "NOT implement." under the caller's name and is -1.
int model_chip(unsigned chips, const char *function, int line);
// The "SIO_DEVICE" text (32 bytes); false when missing.
bool model_chip_name(char (&name)[32]);
// The index of a chip name, or -1.
int chip_index_of(const char *name);

// A GPIO of the model: section and key, parsed. The parse result (1 for an active-low "P"
// value, 0 otherwise), or -1 when the key is missing or holds no "I".
int model_gpio(const char *section, const char *key, int32_t *gpio_index, int32_t *gpio_bit);

// The software blinks. Each returns at once; the process runs until the next call for its LED.
int usb_blink_worker(int chip, int gpio_index, int gpio_bit);
int power_blink_worker(int chip, int gpio_index, int gpio_bit);
int status_blink_worker(int chip, int red_index, int red_bit, int green_index, int green_bit,
                        int colour);
void stop_status_blink();
void stop_usb_blink();
void stop_power_blink();

}  // namespace nashal::superio

#endif  // NASHAL_DRIVERS_SUPERIO_SERVICES_H
