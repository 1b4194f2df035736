// The Super I/O chip of the virtual appliance, at register level: one of the four chips the
// boards carry (F71869A, IT87, F81866A, NCT5523) behind the configuration ports 0x2E/0x2F and
// its GPIO ports above the GPIO base. Configuration mode is entered only by the chip's own key
// and left only by its own exit; registers from 0x30 belong to the logical device selected in
// register 0x07; the GPIO registers are reached the way each chip reaches them (an index/data
// pair or direct offsets).
//
// The chip's state lives in a file of the appliance (/sim/superio.bin by default), mapped shared,
// so that every process of one appliance (forked test children, blink processes, successive
// halctl calls) talks to the same chip. The model notices a configuration cycle that another
// process breaks into (or an index/data pair split by another process's access), which is what
// the chip lock must prevent, and counts port accesses made without ioperm.
#ifndef NASHAL_SIM_SUPERIO_MODEL_H
#define NASHAL_SIM_SUPERIO_MODEL_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sim/devices.h"

namespace nashal::sim {

class SuperIoModel : public PortModel {
  public:
    // One access of this process, in order.
    struct Access {
        bool write;
        uint16_t port;
        uint8_t value;
        bool operator==(const Access &o) const {
            return write == o.write && port == o.port && value == o.value;
        }
    };
    // A write to a GPIO data register, by any process: the writer's virtual time and pid, the
    // register (gpio_index) and its new value.
    struct GpioWrite {
        int64_t at_us;
        int32_t pid;
        uint8_t gpio_index;
        uint8_t value;
    };

    // `chip` is the chip index (0 F71869A, 1 IT87, 2 F81866A, 3 NCT5523). A state file that
    // holds the same chip is taken as it stands (the chip kept its state); otherwise it is
    // created with the power-on registers.
    SuperIoModel(int chip, uint16_t gpio_base, uint16_t chip_id, const std::string &state_file);
    ~SuperIoModel() override;
    SuperIoModel(const SuperIoModel &) = delete;
    SuperIoModel &operator=(const SuperIoModel &) = delete;

    uint8_t inb(uint16_t port) override;
    void outb(uint8_t value, uint16_t port) override;

    int chip() const;
    uint16_t gpio_base() const { return gpio_base_; }

    // A register of logical device `device`; below 0x30 the global register.
    uint8_t reg(uint8_t device, uint8_t r) const;
    void set_reg(uint8_t device, uint8_t r, uint8_t value);

    // GPIO data register `gpio_index`, and one pin's level in it (true: high). The pins the
    // boards use are active low: an LED is lit and a button pressed while its pin is low.
    uint8_t gpio_register(int gpio_index) const;
    bool pin_high(int gpio_index, int gpio_bit) const;
    void drive_pin(int gpio_index, int gpio_bit, bool high);
    bool pin_active(int gpio_index, int gpio_bit) const { return !pin_high(gpio_index, gpio_bit); }
    void set_pin_active(int gpio_index, int gpio_bit, bool active) {
        drive_pin(gpio_index, gpio_bit, !active);
    }

    // IT87: the blink channel (1 or 2) running this pin, 0 when none does.
    int it87_blink_channel(int gpio_index, int gpio_bit) const;
    // The power button as the chip sees it (a status bit on the Fintek chips, a GPIO on the
    // others).
    void press_power_button(bool pressed);

    // Shared by every process of the appliance.
    uint32_t completed_cycles() const;
    uint32_t broken_cycles() const;
    uint32_t unpermitted_accesses() const;
    bool in_configuration_mode() const;
    std::vector<GpioWrite> gpio_writes() const;

    // This process's accesses.
    const std::vector<Access> &accesses() const { return accesses_; }
    void clear_accesses() { accesses_.clear(); }

  private:
    struct Shared;
    void config_write(uint8_t value);
    void data_write(uint8_t value);
    uint8_t data_read();
    void gpio_access(bool write, uint16_t offset, uint8_t *value);
    void note_owner(int32_t owner);
    uint8_t &cell(uint8_t device, uint8_t r) const;
    void reset_power_on(uint16_t chip_id);

    Shared *shared_ = nullptr;
    uint16_t gpio_base_;
    std::vector<Access> accesses_;
};

// The chip index of a name ("IT87", any case), -1 when unknown.
int superio_chip_index(const std::string &name);

// Registers a chip on 0x2E/0x2F and on 16 ports from `gpio_base` in the active appliance. A
// chip id of 0 takes the placeholder 0x5A00 plus the chip index (the real ids are the makers').
std::shared_ptr<SuperIoModel> attach_superio(int chip, uint16_t gpio_base = 0xA00,
                                             uint16_t chip_id = 0,
                                             const std::string &state_file = "/sim/superio.bin");

// Attaches the chip that /sim/superio.conf describes ("chip IT87", "gpio_base a00", "id 8728",
// "state /sim/superio.bin"; hexadecimal numbers), or returns null when there is none or it
// names no known chip.
std::shared_ptr<SuperIoModel> attach_described_superio();
// The same chip's shared state without registering it on the ports: a view for reading pins
// (the chip of a running appliance keeps its state), or null.
std::shared_ptr<SuperIoModel> open_described_superio();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SUPERIO_MODEL_H
