// Register map of the four Super I/O chips the boards carry, declared once: the library's chip
// code and the virtual appliance's chip model both use these names, so no register number
// appears twice. Registers below 0x30 are global (the same in every logical device); from 0x30
// on they belong to the logical device selected in register 0x07.
#ifndef NASHAL_DRIVERS_SUPERIO_LAYOUT_H
#define NASHAL_DRIVERS_SUPERIO_LAYOUT_H

#include <cstdint>

namespace nashal::superio {

// Chip index, chosen from the model's "SIO_DEVICE".
enum Chip : int {
    kF71869A = 0,
    kIT87 = 1,
    kF81866A = 2,
    kNCT5523 = 3,
};
constexpr int kChipCount = 4;

// Configuration space: index port and data port of every chip.
constexpr uint16_t kIndexPort = 0x2E;
constexpr uint16_t kDataPort = 0x2F;
constexpr unsigned kConfigPortCount = 2;

// Global registers.
constexpr uint8_t kRegLogicalDevice = 0x07;
constexpr uint8_t kRegChipIdHigh = 0x20;
constexpr uint8_t kRegChipIdLow = 0x21;
constexpr uint8_t kFirstDeviceRegister = 0x30;

// Enter and exit sequences. Fintek and Nuvoton: two 0x87 in, 0xAA out on the index port. IT87:
// the four-byte key for port 0x2E in; out is value 0x02 to its configuration control register.
constexpr uint8_t kFintekEnter[] = {0x87, 0x87};
constexpr uint8_t kFintekExit = 0xAA;
constexpr uint8_t kIt87Enter[] = {0x87, 0x01, 0x55, 0x55};
constexpr uint8_t kIt87RegConfigControl = 0x02;
constexpr uint8_t kIt87ExitValue = 0x02;

// Common device registers.
constexpr uint8_t kRegActivate = 0x30;

// Fintek F71869A and F81866A.
namespace fintek {
constexpr uint8_t kDeviceGpio = 0x06;
constexpr uint8_t kDevicePme = 0x0A;  // power management: recovery, EuP, standby LED
constexpr uint8_t kRegBaseHigh = 0x60;
constexpr uint8_t kRegBaseLow = 0x61;
// F71869A reaches its GPIO registers through an index/data pair above the base.
constexpr uint16_t kF71869aGpioIndexOffset = 5;
constexpr uint16_t kF71869aGpioDataOffset = 6;
constexpr unsigned kF71869aGpioPorts = 2;  // from base + 5
// F81866A maps its GPIO registers directly from the base.
constexpr unsigned kF81866aGpioPorts = 16;
// Recovery mode: bits 2:1 of 0xF4 in the PME device; mode 0, 1, 2 are field 0, 2, 3.
constexpr uint8_t kRegRecovery = 0xF4;
constexpr uint8_t kRecoveryShift = 1;
constexpr uint8_t kRecoveryMask = 0x06;
constexpr uint8_t kRecoveryField[] = {0, 2, 3};
// EuP: bit 7 of 0xE0 when the BIOS keeps the CMOS power byte, else bits 0x0C of 0xE1.
constexpr uint8_t kRegEupBios = 0xE0;
constexpr uint8_t kEupBiosBit = 0x80;
constexpr uint8_t kRegEup = 0xE1;
constexpr uint8_t kEupMask = 0x0C;
constexpr uint8_t kEupOn = 0xCC;
constexpr uint8_t kEupOff = 0xC0;
// Standby LED: mode 5 in 0xF8, then 2 (on) or 0 (off) in 0xFA.
constexpr uint8_t kRegStandbyLedMode = 0xF8;
constexpr uint8_t kStandbyLedModeValue = 5;
constexpr uint8_t kRegStandbyLed = 0xFA;
constexpr uint8_t kStandbyLedOn = 2;
// Power button routing and state, F71869A.
constexpr uint8_t kF71869aRegPwbMux = 0x2B;  // global
constexpr uint8_t kF71869aPwbMuxBit = 0x20;
constexpr uint8_t kF71869aRegPwbPin = 0xB0;  // GPIO device
constexpr uint8_t kF71869aRegPwbStatus = 0xB2;
constexpr uint8_t kF71869aPwbBit = 0x20;
// Power button routing and state, F81866A.
constexpr uint8_t kF81866aRegPwbMux = 0x27;  // global
constexpr uint8_t kF81866aPwbMuxMask = 0x0C;
constexpr uint8_t kF81866aPwbMuxValue = 0x08;
constexpr uint8_t kF81866aRegPwbSelect = 0x2C;  // global
constexpr uint8_t kF81866aRegPwbPin = 0xD0;     // GPIO device
constexpr uint8_t kF81866aRegPwbStatus = 0xD2;
constexpr uint8_t kF81866aPwbBit = 0x04;
}  // namespace fintek

// ITE IT87.
namespace it87 {
constexpr uint8_t kDeviceGpio = 0x07;
constexpr uint8_t kDeviceEnvironment = 0x04;  // recovery and EuP
constexpr uint8_t kRegBaseHigh = 0x62;
constexpr uint8_t kRegBaseLow = 0x63;
constexpr unsigned kGpioPorts = 8;
constexpr uint8_t kRegSimpleIoEnable = 0xC0;  // plus gpio_index
// Hardware blink: channel 1 pin and control, channel 2 pin and control. A pin is coded as
// ((gpio_index + 1) * 8) | gpio_bit; control 0 blinks, 1 frees the channel.
constexpr uint8_t kRegBlink1Pin = 0xF8;
constexpr uint8_t kRegBlink1Control = 0xF9;
constexpr uint8_t kRegBlink2Pin = 0xFA;
constexpr uint8_t kRegBlink2Control = 0xFB;
constexpr uint8_t kBlinkRun = 0;
constexpr uint8_t kBlinkFree = 1;
// Recovery: bit 5 of 0xF2 and of 0xF4 in the environment device.
constexpr uint8_t kRegRecoveryA = 0xF2;
constexpr uint8_t kRegRecoveryB = 0xF4;
constexpr uint8_t kRecoveryBit = 0x20;
// EuP: read bit 1 of 0xFA, written as the mask 0x12.
constexpr uint8_t kRegEup = 0xFA;
constexpr uint8_t kEupReadBit = 0x02;
constexpr uint8_t kEupWriteMask = 0x12;
// Power button routing (GPIO device) and the GPIO that reads the button.
constexpr uint8_t kRegPwbMux = 0x28;  // global
constexpr uint8_t kRegPwbSelect = 0xC3;
constexpr uint8_t kRegPwbPin = 0xCB;
constexpr uint8_t kPwbBit = 0x08;
constexpr int kPwbGpioIndex = 3;
constexpr int kPwbGpioBit = 3;
}  // namespace it87

// Nuvoton NCT5523.
namespace nct5523 {
constexpr uint8_t kDeviceGpio = 0x08;
constexpr uint8_t kDeviceGpioActivate = 0x07;
constexpr uint8_t kDevicePme = 0x0A;
constexpr uint8_t kRegBaseHigh = 0x60;
constexpr uint8_t kRegBaseLow = 0x61;
// GPIO registers through an index at the base and data at base + 2.
constexpr uint16_t kGpioIndexOffset = 0;
constexpr uint16_t kGpioDataOffset = 2;
constexpr unsigned kGpioPorts = 5;
// Recovery: bits 6:5 of 0xE4 in the PME device; mode 0, 1, 2 are field 3, 1, 0.
constexpr uint8_t kRegRecovery = 0xE4;
constexpr uint8_t kRecoveryShift = 5;
constexpr uint8_t kRecoveryMask = 0x60;
constexpr uint8_t kRecoveryField[] = {3, 1, 0};
// Power button routing.
constexpr uint8_t kRegPwbMux = 0x1A;  // global
constexpr uint8_t kPwbMuxBits = 0x03;
constexpr uint8_t kRegPwbGpio = 0xE5;      // GPIO device
constexpr uint8_t kRegPwbActivate = 0x30;  // device 0x07
constexpr uint8_t kPwbBit = 0x20;
constexpr int kPwbGpioIndex = 5;
constexpr int kPwbGpioBit = 5;
}  // namespace nct5523

// The GPIO ports each chip answers above its base, for the ioperm of every access.
constexpr unsigned kGpioPortSpan = 16;

}  // namespace nashal::superio

#endif  // NASHAL_DRIVERS_SUPERIO_LAYOUT_H
