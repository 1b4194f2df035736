// Plain I/O ports of the virtual appliance: a latch per port, as a simple LED register behaves.
// A read gives what was last written (or the value the board starts with); every write is also
// kept in order, so a test can see what the library did to the port.
#ifndef NASHAL_SIM_IO_PORT_MODEL_H
#define NASHAL_SIM_IO_PORT_MODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "sim/devices.h"

namespace nashal::sim {

class IoPortModel : public PortModel {
  public:
    explicit IoPortModel(uint8_t initial) : initial_(initial) {}

    uint8_t inb(uint16_t port) override;
    void outb(uint8_t value, uint16_t port) override;

    uint8_t value(uint16_t port) const;
    // What the hardware drives on the port, as if from outside.
    void set_value(uint16_t port, uint8_t value) { latch_[port] = value; }
    // (port, value) of every write, in order.
    const std::vector<std::pair<uint16_t, uint8_t>> &writes() const { return writes_; }

  private:
    uint8_t initial_;
    std::map<uint16_t, uint8_t> latch_;
    std::vector<std::pair<uint16_t, uint8_t>> writes_;
};

// Registers `count` latched ports from `first` in the active appliance, each starting at
// `initial` (0xff: every active-low signal off).
std::shared_ptr<IoPortModel> attach_io_ports(uint16_t first, uint16_t count = 1,
                                             uint8_t initial = 0xff);

// Registers the latches /sim/ioports.conf lists ("first count initial" lines, hexadecimal; "#"
// comments). Their values are kept in /sim/ioports/<port> files, so forked children, blinkers
// and successive halctl calls see one latch, as on the board. Returns the ranges registered.
int attach_described_io_ports();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_IO_PORT_MODEL_H
