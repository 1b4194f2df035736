// gpiolib pins of the virtual appliance. /sys is a plain folder there, so writing a number to
// /sys/class/gpio/export creates nothing by itself: a board (or a test) states which pins the
// kernel has exported, and this makes the folders the kernel would have made for them.
#ifndef NASHAL_SIM_GPIOLIB_PINS_H
#define NASHAL_SIM_GPIOLIB_PINS_H

#include <string>

namespace nashal::sim {

// Creates /sys/class/gpio/gpio<pin>/direction and /value (and /sys/class/gpio/export and
// unexport, if missing) as the kernel shows an exported pin. Call in the active appliance.
bool export_gpio_pin(int pin, const std::string &direction = "out", int value = 0);

// The pin's value file as a number (what the last "echo N > .../value" left), or -1 when the
// pin isn't exported.
int gpio_pin_value(int pin);

// Exports the pins /sim/gpio.conf lists ("pin direction value" lines, decimal; "#" comments)
// that are not exported yet, so a persistent appliance keeps the values it was left with.
// Returns the number of pins exported now.
int attach_described_gpio();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_GPIOLIB_PINS_H
