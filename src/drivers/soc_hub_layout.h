// Where the pins and the power-failure bit live outside the Super I/O chip, declared once: the
// SoC's memory-mapped GPIO block and the I/O controller hub's configuration space and GPIO
// ports. The virtual appliance's SoC and hub models use the same names.
#ifndef NASHAL_DRIVERS_SOC_HUB_LAYOUT_H
#define NASHAL_DRIVERS_SOC_HUB_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::drivers {

// The SoC's registers are reached a page at a time through /dev/mem.
constexpr const char *kDevMem = "/dev/mem";
constexpr size_t kMmioPageSize = 4096;

// The two input level registers of the SoC's own pins, relative to the register base: pins 0
// to 31 in the first, 32 and up in the second.
constexpr uint32_t kSocGpioLevelLow = 0x10110;
constexpr uint32_t kSocGpioLevelHigh = 0x10150;
constexpr int kSocPinsPerLevelRegister = 32;

// The hub is always the LPC bridge at 00:1f.0; its configuration bytes are the sysfs file.
constexpr const char *kHubDevice = "/sys/bus/pci/devices/0000:00:1f.0";
constexpr size_t kHubConfigSize = 256;
constexpr size_t kHubGpioBase = 0x48;     // 32 bits; AND kHubGpioBaseMask gives the I/O port
constexpr size_t kHubGpioControl = 0x4C;  // 32 bits
constexpr size_t kHubGenPmcon3 = 0xA4;    // 8 bits
constexpr uint32_t kHubGpioBaseMask = 0xFFFE;
constexpr uint32_t kHubGpioEnable = 1u << 4;  // in the GPIO control word
// Set: the machine stays off after a power failure; clear: it powers up.
constexpr uint8_t kHubAfterG3 = 1u << 0;
// The hub's GPIO ports span this many ports from the base (ioperm's range).
constexpr unsigned kHubGpioPortSpan = 100;

// The hub's GPIO block: three banks of 32 pins, each with a use select (1: GPIO, 0: native
// function), a direction select (1: input) and a level register, as port offsets from the base.
struct HubGpioBank {
    int first_pin;
    uint16_t use_select;
    uint16_t io_select;
    uint16_t level;
};
constexpr HubGpioBank kHubGpioBanks[] = {
    {0, 0x00, 0x04, 0x0C},
    {32, 0x30, 0x34, 0x38},
    {64, 0x40, 0x44, 0x48},
};

// The bank of a pin (negative pins have none).
constexpr const HubGpioBank *hub_gpio_bank(int pin) {
    if (pin < 0)
        return nullptr;
    const HubGpioBank *bank = &kHubGpioBanks[0];
    for (const HubGpioBank &b : kHubGpioBanks)
        if (pin >= b.first_pin)
            bank = &b;
    return bank;
}

}  // namespace nashal::drivers

#endif  // NASHAL_DRIVERS_SOC_HUB_LAYOUT_H
