// LEDs on a plain I/O port or a gpiolib pin: the right bit of the right port, active low, and
// the pin's value file written with the value the caller asked for.
#include <gtest/gtest.h>

#include "nashal/comm_port.h"
#include "sim/appliance.h"
#include "sim/devices.h"
#include "sim/fs.h"
#include "sim/gpiolib_pins.h"
#include "sim/io_port_model.h"

using namespace nashal::sim;

TEST(IoPorts, PortGetsTheLowByteAndBitsAreActiveLow) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    auto ports = attach_io_ports(0x378, 2, 0xff);

    EXPECT_EQ(common_sys_set_ioport(0x378, 0x1A5), 0);
    EXPECT_EQ(ports->value(0x378), 0xA5) << "only the low byte goes to the port";
    EXPECT_TRUE(port_permitted(0x378));

    struct Case {
        uint8_t before;
        int bit, on;
        uint8_t after;
    } cases[] = {
        {0xFF, 3, 1, 0xF7},  // on clears the bit: the signal is active low
        {0xF7, 3, 0, 0xFF},  // off sets it
        {0x00, 0, 0, 0x01}, {0x80, 7, 1, 0x00},
        {0x5A, 9, 1, 0x5A},  // a bit outside the byte changes nothing
    };
    for (const Case &c : cases) {
        ports->set_value(0x379, c.before);
        EXPECT_EQ(common_sys_set_ioport_bit(0x379, c.bit, c.on), 0);
        EXPECT_EQ(ports->value(0x379), c.after)
            << "bit " << c.bit << " on " << c.on << " from 0x" << std::hex << int(c.before);
    }
    EXPECT_EQ(ports->value(0x378), 0xA5) << "the neighbouring port was touched";

    // A port beyond the I/O space (a garbage model value) must not wrap onto a real port.
    for (int port : {0x10378, 0x10379, -1}) {
        EXPECT_EQ(common_sys_set_ioport(port, 0x00), 0);
        EXPECT_EQ(common_sys_set_ioport_bit(port, 0, 1), 0);
    }
    EXPECT_EQ(ports->value(0x378), 0xA5) << "port 0x10378 wrote to 0x378";
    EXPECT_EQ(ports->value(0x379), 0x5A) << "port 0x10379 wrote to 0x379";
}

TEST(Gpiolib, PinValueIsWrittenAndReadThroughItsValueFile) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    ASSERT_TRUE(export_gpio_pin(42, "out", 0));

    EXPECT_EQ(common_sys_set_gpiolib(42, 1), 0);
    EXPECT_EQ(gpio_pin_value(42), 1);
    EXPECT_EQ(common_sys_get_gpiolib(42), 1);
    EXPECT_EQ(common_sys_set_gpiolib(42, 0), 0);
    EXPECT_EQ(common_sys_get_gpiolib(42), 0);
    EXPECT_EQ(read_file("/sys/class/gpio/gpio42/direction"), "out\n") << "direction was changed";

    EXPECT_EQ(common_sys_get_gpiolib(7), 0) << "a pin that isn't exported reads as 0";
    EXPECT_EQ(common_sys_set_gpiolib(7, 1), 0);
    EXPECT_EQ(gpio_pin_value(7), -1) << "writing a value must not export a pin";
}
