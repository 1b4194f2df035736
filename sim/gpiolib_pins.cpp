#include "sim/gpiolib_pins.h"

#include <cstdlib>

#include "sim/fs.h"

namespace nashal::sim {

namespace {
std::string pin_dir(int pin) {
    return "/sys/class/gpio/gpio" + std::to_string(pin);
}
}  // namespace

bool export_gpio_pin(int pin, const std::string &direction, int value) {
    const std::string dir = pin_dir(pin);
    if (!make_dirs(dir))
        return false;
    if (!exists("/sys/class/gpio/export"))
        write_file("/sys/class/gpio/export", "");
    if (!exists("/sys/class/gpio/unexport"))
        write_file("/sys/class/gpio/unexport", "");
    return write_file(dir + "/direction", direction + "\n") &&
           write_file(dir + "/value", std::to_string(value) + "\n");
}

int gpio_pin_value(int pin) {
    const std::string path = pin_dir(pin) + "/value";
    if (!exists(path))
        return -1;
    return std::atoi(read_file(path).c_str());
}

int attach_described_gpio() {
    int count = 0;
    for (const DescriptionEntry &e : read_description("/sim/gpio.conf", 3)) {
        const int pin = std::atoi(e[0].c_str());
        if (pin < 0 || exists(pin_dir(pin) + "/value"))
            continue;
        if (export_gpio_pin(pin, e[1], std::atoi(e[2].c_str())))
            ++count;
    }
    return count;
}

}  // namespace nashal::sim
