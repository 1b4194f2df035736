// The battery-backed CMOS of the virtual appliance: an index/data port pair (the index written
// to the first port, the byte read or written at the second) over 128 or 256 bytes. The bytes
// live in a file of the appliance (/sim/cmos.bin by default), written through on every store,
// so a "reboot" (a new activation, a new model) finds what the last boot left.
//
// The machine's memory size, which the C2F reservation depends on, is set here too: sysinfo()
// through the seam reports what set_memory_mb() says.
#ifndef NASHAL_SIM_CMOS_MODEL_H
#define NASHAL_SIM_CMOS_MODEL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sim/devices.h"

namespace nashal::sim {

class CmosModel : public PortModel {
  public:
    // `size` is 128 or 256. With 128 bytes, bit 7 of the index is the chipset's NMI mask and
    // doesn't address; with 256 every index bit does.
    CmosModel(uint16_t first_port, size_t size, std::string backing_file);

    uint8_t inb(uint16_t port) override;
    void outb(uint8_t value, uint16_t port) override;

    uint8_t byte(uint8_t index) const;
    void set_byte(uint8_t index, uint8_t value);
    size_t size() const { return bytes_.size(); }

  private:
    size_t address(uint8_t index) const;
    void save() const;

    uint16_t first_port_;
    uint8_t index_ = 0;
    std::vector<uint8_t> bytes_;
    std::string backing_file_;
};

// Registers a CMOS on `first_port` and `first_port` + 1 of the active appliance, with its bytes
// loaded from `backing_file` (zero-filled and created when absent, padded or cut to `size`).
std::shared_ptr<CmosModel> attach_cmos(uint16_t first_port = 0x70, size_t size = 128,
                                       const std::string &backing_file = "/sim/cmos.bin");

// Attaches the CMOS that /sim/cmos.conf describes, if the file exists ("port 70", "size 128",
// "file /sim/cmos.bin", "memory_mb 8192"; one per line, hexadecimal port, everything optional).
// Returns null when the appliance describes no CMOS.
std::shared_ptr<CmosModel> attach_described_cmos();

// From now on sysinfo() through the seam reports `mb` MB of memory; 0 gives the machine's own
// answer back.
void set_memory_mb(uint64_t mb);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_CMOS_MODEL_H
