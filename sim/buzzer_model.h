// The PC speaker of the virtual appliance: timer 2 (control port 0x43, counter port 0x42) and the
// speaker gate in the low two bits of port 0x61. Each tone is logged to /sim/buzzer.log with
// the sounding process's pid and virtual time, so that the beeps of every process of the
// appliance can be heard afterwards, in the order they sounded.
#ifndef NASHAL_SIM_BUZZER_MODEL_H
#define NASHAL_SIM_BUZZER_MODEL_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "sim/devices.h"

namespace nashal::sim {

class BuzzerModel : public PortModel {
  public:
    uint8_t inb(uint16_t port) override;
    void outb(uint8_t value, uint16_t port) override;

  private:
    uint8_t gate_ = 0;
    uint16_t divisor_ = 0;
    int divisor_bytes_ = 0;
};

// One tone: who sounded it, when (virtual microseconds), how long, at what frequency.
struct Beep {
    pid_t pid;
    int64_t start_us;
    int64_t length_us;
    unsigned hz;
};

// Registers the speaker ports in the active appliance.
std::shared_ptr<BuzzerModel> attach_buzzer();
// Every tone logged so far, in the order the tones started.
std::vector<Beep> buzzer_beeps();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_BUZZER_MODEL_H
