// The pins that are not on a Super I/O chip: the SoC's memory-mapped GPIO register block and
// the I/O controller hub (its PCI configuration space file and its GPIO ports).
#ifndef NASHAL_SIM_SOC_HUB_MODEL_H
#define NASHAL_SIM_SOC_HUB_MODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "sim/devices.h"

namespace nashal::sim {

// The SoC's register block: a window of /dev/mem backed by a file, so the library's mappings,
// its blink processes and the test all see the same words. Registers start at 0xffffffff: every
// active-low LED dark and every button released, as after reset.
class SocRegisters {
  public:
    SocRegisters(uint64_t base, uint32_t size, std::string state)
        : base_(base), size_(size), state_(std::move(state)) {}

    uint64_t base() const { return base_; }
    // The 32-bit register at `offset` from the base, as the SoC holds it now.
    uint32_t word(uint32_t offset) const;
    void set_word(uint32_t offset, uint32_t value);
    bool bit(uint32_t offset, int bit) const { return (word(offset) >> bit) & 1u; }
    // The hardware drives one input pin.
    void set_bit(uint32_t offset, int bit, bool high);

  private:
    uint64_t base_;
    uint32_t size_;
    std::string state_;
};

// Registers the block at physical `base` (page aligned) in the active appliance, with a
// placeholder /dev/mem node. The state file is created filled with 0xff when missing.
std::shared_ptr<SocRegisters> attach_soc_registers(uint64_t base, uint32_t size = 0x20000,
                                                   const std::string &state = "/sim/soc.bin");
// The block /sim/soc.conf describes, or null without that file.
std::shared_ptr<SocRegisters> attach_described_soc();

// The hub's configuration space as the file /sys/bus/pci/devices/0000:00:1f.0/config: 256 bytes
// with the GPIO base (bit 0 set, as the hub reports an I/O base), the GPIO control word and
// GEN_PMCON_3. Makes the device's directory when the board has none.
void write_hub_config(uint16_t gpio_base, bool gpio_enabled, uint8_t gen_pmcon3 = 0);
// The byte at `offset` of that file now.
uint8_t hub_config_byte(size_t offset);

// The hub's GPIO block: three banks of use select, direction select and level registers,
// 32 bits wide. A level read gives, for a pin selected as a GPIO input, what the board drives
// (set_input); for any other pin the last level written.
class HubGpioModel : public PortModel {
  public:
    explicit HubGpioModel(uint16_t base) : base_(base) {}

    uint8_t inb(uint16_t port) override;
    void outb(uint8_t value, uint16_t port) override;
    uint32_t inl(uint16_t port) override;
    void outl(uint32_t value, uint16_t port) override;

    void set_input(int pin, bool high);
    // The register at `offset` from the base, as written.
    uint32_t reg(uint16_t offset) const;

  private:
    uint16_t base_;
    std::map<uint16_t, uint32_t> regs_;
    std::map<int, bool> inputs_;
};

// Registers the hub's GPIO ports from `base` in the active appliance.
std::shared_ptr<HubGpioModel> attach_hub_gpio(uint16_t base);
// The hub /sim/hub.conf describes (its configuration file written when missing, its GPIO ports
// attached), or null without that file.
std::shared_ptr<HubGpioModel> attach_described_hub();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SOC_HUB_MODEL_H
