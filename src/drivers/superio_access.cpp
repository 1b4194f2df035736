// Port-level access to the Super I/O chips: configuration cycles through 0x2E/0x2F and the GPIO
// data registers above each chip's GPIO base. The order of the port accesses is each chip's
// protocol and is kept exactly. Port results are not checked: a chip that isn't there reads as
// 0xFF, which shows up as wrong values, never as a crash.

#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"

namespace nashal::superio {
namespace {

// Zero means "not read yet"; once read a base is kept for the life of the process.
uint32_t g_fintek_base = 0;
uint32_t g_it87_base = 0;
uint32_t g_nct5523_base = 0;

template <size_t N>
void send_sequence(const uint8_t (&bytes)[N]) {
    for (uint8_t b : bytes)
        os_outb(b, kIndexPort);
}

uint32_t read_base(uint8_t high, uint8_t low) {
    uint32_t base = static_cast<uint32_t>(read_register(high)) << 8;
    return base | read_register(low);
}

// Fintek: activate the GPIO device and read its base, one whole cycle.
uint32_t fintek_base() {
    if (g_fintek_base == 0) {
        open_config(kF71869A);
        select_device(fintek::kDeviceGpio);
        write_register(kRegActivate, 1);
        g_fintek_base = read_base(fintek::kRegBaseHigh, fintek::kRegBaseLow);
        close_config(kF71869A);
    }
    return g_fintek_base;
}

// IT87 read path: its own cycle when the base is unknown.
uint32_t it87_base_in_own_cycle() {
    if (g_it87_base == 0) {
        open_config(kIT87);
        select_device(it87::kDeviceGpio);
        g_it87_base = read_base(it87::kRegBaseHigh, it87::kRegBaseLow);
        close_config(kIT87);
    }
    return g_it87_base;
}

uint32_t nct5523_base() {
    if (g_nct5523_base == 0) {
        open_config(kNCT5523);
        select_device(nct5523::kDeviceGpio);
        g_nct5523_base = read_base(nct5523::kRegBaseHigh, nct5523::kRegBaseLow);
        close_config(kNCT5523);
    }
    return g_nct5523_base;
}

uint16_t port(uint32_t base, unsigned offset) {
    return static_cast<uint16_t>(base + offset);
}

// Active low: "on" clears the bit.
uint8_t with_bit(uint8_t reg, int gpio_bit, int value) {
    const uint8_t mask = static_cast<uint8_t>(1u << gpio_bit);
    return value ? static_cast<uint8_t>(reg & ~mask) : static_cast<uint8_t>(reg | mask);
}

}  // namespace

void open_config(int chip) {
    os_ioperm(kIndexPort, kConfigPortCount, 1);
    if (chip == kIT87)
        send_sequence(kIt87Enter);
    else
        send_sequence(kFintekEnter);
}

void close_config(int chip) {
    if (chip == kIT87) {
        os_outb(kIt87RegConfigControl, kIndexPort);
        os_outb(kIt87ExitValue, kDataPort);
    } else {
        os_outb(kFintekExit, kIndexPort);
    }
}

uint8_t read_register(uint8_t reg) {
    os_outb(reg, kIndexPort);
    return os_inb(kDataPort);
}

void write_register(uint8_t reg, uint8_t value) {
    os_outb(reg, kIndexPort);
    os_outb(value, kDataPort);
}

void select_device(uint8_t device) {
    write_register(kRegLogicalDevice, device);
}

void update_register(uint8_t reg, uint8_t clear, uint8_t set) {
    uint8_t v = read_register(reg);
    write_register(reg, static_cast<uint8_t>((v & ~clear) | set));
}

int locked_read(int chip, uint8_t device, uint8_t reg, uint8_t *value, const char *function,
                int line) {
    SioLock lock(function, line);
    if (!lock)
        return -1;
    open_config(chip);
    select_device(device);
    *value = read_register(reg);
    close_config(chip);
    return 0;
}

int locked_update(int chip, uint8_t device, uint8_t reg, uint8_t clear, uint8_t set,
                  const char *function, int line) {
    SioLock lock(function, line);
    if (!lock)
        return -1;
    open_config(chip);
    select_device(device);
    update_register(reg, clear, set);
    close_config(chip);
    return 0;
}

bool gpio_address_valid(int chip, int gpio_index, int gpio_bit, const char *function, int line) {
    int limit = 0x100;  // a register number on an index port
    if (chip == kF81866A)
        limit = fintek::kF81866aGpioPorts;
    else if (chip == kIT87)
        limit = it87::kGpioPorts;
    if (gpio_index >= 0 && gpio_index < limit && gpio_bit >= 0 && gpio_bit < 8)
        return true;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): GPIO index 0x%x bit %d is outside the chip\n", function,
              line, gpio_index, gpio_bit);
    return false;
}

void write_gpio_bit(int chip, int gpio_index, int gpio_bit, int value) {
    const uint8_t index = static_cast<uint8_t>(gpio_index);
    switch (chip) {
        case kF71869A: {
            uint32_t base = fintek_base();
            os_ioperm(port(base, fintek::kF71869aGpioIndexOffset), fintek::kF71869aGpioPorts, 1);
            os_outb(index, port(base, fintek::kF71869aGpioIndexOffset));
            uint8_t v = os_inb(port(base, fintek::kF71869aGpioDataOffset));
            os_outb(index, port(base, fintek::kF71869aGpioIndexOffset));
            os_outb(with_bit(v, gpio_bit, value), port(base, fintek::kF71869aGpioDataOffset));
            break;
        }
        case kF81866A: {
            uint32_t base = fintek_base();
            os_ioperm(base, fintek::kF81866aGpioPorts, 1);
            uint8_t v = os_inb(port(base, index));
            os_outb(with_bit(v, gpio_bit, value), port(base, index));
            break;
        }
        case kIT87: {
            // The pin must be in simple I/O mode before its data bit drives it; that also takes it
            // off a hardware blink channel.
            open_config(kIT87);
            select_device(it87::kDeviceGpio);
            update_register(static_cast<uint8_t>(it87::kRegSimpleIoEnable + index), 0,
                            static_cast<uint8_t>(1u << gpio_bit));
            if (g_it87_base == 0)
                g_it87_base = read_base(it87::kRegBaseHigh, it87::kRegBaseLow);
            os_ioperm(g_it87_base, it87::kGpioPorts, 1);
            uint8_t v = os_inb(port(g_it87_base, index));
            os_outb(with_bit(v, gpio_bit, value), port(g_it87_base, index));
            close_config(kIT87);
            break;
        }
        case kNCT5523: {
            uint32_t base = nct5523_base();
            os_ioperm(base, nct5523::kGpioPorts, 1);
            os_outb(index, port(base, nct5523::kGpioIndexOffset));
            uint8_t v = os_inb(port(base, nct5523::kGpioDataOffset));
            os_outb(with_bit(v, gpio_bit, value), port(base, nct5523::kGpioDataOffset));
            break;
        }
        default:
            break;
    }
}

int read_gpio_bit(int chip, int gpio_index, int gpio_bit) {
    const uint8_t index = static_cast<uint8_t>(gpio_index);
    uint8_t v = 0;
    switch (chip) {
        case kF71869A: {
            uint32_t base = fintek_base();
            os_ioperm(port(base, fintek::kF71869aGpioIndexOffset), fintek::kF71869aGpioPorts, 1);
            os_outb(index, port(base, fintek::kF71869aGpioIndexOffset));
            v = os_inb(port(base, fintek::kF71869aGpioDataOffset));
            break;
        }
        case kF81866A: {
            uint32_t base = fintek_base();
            os_ioperm(base, fintek::kF81866aGpioPorts, 1);
            v = os_inb(port(base, index));
            break;
        }
        case kIT87: {
            uint32_t base = it87_base_in_own_cycle();
            os_ioperm(base, it87::kGpioPorts, 1);
            v = os_inb(port(base, index));
            break;
        }
        case kNCT5523: {
            uint32_t base = nct5523_base();
            os_ioperm(base, nct5523::kGpioPorts, 1);
            os_outb(index, port(base, nct5523::kGpioIndexOffset));
            v = os_inb(port(base, nct5523::kGpioDataOffset));
            break;
        }
        default:
            return -1;
    }
    return (v & (1u << gpio_bit)) ? 0 : 1;
}

uint32_t gpio_base(int chip) {
    switch (chip) {
        case kF71869A:
        case kF81866A:
            return fintek_base();
        case kIT87:
            return it87_base_in_own_cycle();
        case kNCT5523:
            return nct5523_base();
        default:
            return 0;
    }
}

uint32_t cached_gpio_base(int chip) {
    switch (chip) {
        case kF71869A:
        case kF81866A:
            return g_fintek_base;
        case kIT87:
            return g_it87_base;
        case kNCT5523:
            return g_nct5523_base;
        default:
            return 0;
    }
}

}  // namespace nashal::superio
