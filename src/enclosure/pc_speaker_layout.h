// The PC speaker, declared once for the buzzer code and the virtual appliance's speaker: timer 2
// of the interval timer in square-wave mode, gated onto the speaker by the low two bits of the
// system control port.
#ifndef NASHAL_ENCLOSURE_PC_SPEAKER_LAYOUT_H
#define NASHAL_ENCLOSURE_PC_SPEAKER_LAYOUT_H

#include <cstdint>

namespace nashal::pc_speaker {

constexpr uint16_t kGatePort = 0x61;
constexpr uint8_t kGateBits = 0x03;
constexpr uint16_t kTimer2Port = 0x42;  // divisor, low byte then high byte
constexpr uint16_t kTimerControlPort = 0x43;
constexpr uint8_t kTimer2SquareWave = 0xB6;
constexpr unsigned kTimerHz = 0x1234DC;

}  // namespace nashal::pc_speaker

#endif  // NASHAL_ENCLOSURE_PC_SPEAKER_LAYOUT_H
