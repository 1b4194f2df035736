#include "sim/gpiolib_pins.h"

#include <cstdlib>
#include <sstream>

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
    std::istringstream lines(read_file("/sim/gpio.conf"));
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        int pin = -1, value = 0;
        std::string direction;
        if (line.empty() || line[0] == '#' || !(words >> pin >> direction >> value) || pin < 0)
            continue;
        if (exists(pin_dir(pin) + "/value"))
            continue;
        if (export_gpio_pin(pin, direction, value))
            ++count;
    }
    return count;
}

}  // namespace nashal::sim
