// The bytes spoken on the serial line of the enclosure controllers (the PIC and its successor,
// the MCU), declared once: the monitor, its clients and the virtual appliance's emulators all
// use these names. Single-byte reports arrive unasked; commands are single bytes; EEPROM and fan
// reads are transactions opened by an attention byte that the controller acknowledges.
#ifndef NASHAL_CONTROLLERS_CONTROLLER_FRAMES_H
#define NASHAL_CONTROLLERS_CONTROLLER_FRAMES_H

#include <cstddef>
#include <cstdint>

#include "nashal/pic_sys.h"

namespace nashal::controllers {

// The request record on the System V queue: message type 1, a payload of 76 bytes after the
// type word (command, offset, length, data).
constexpr long kRequestType = 1;
constexpr size_t kRequestPayload = 76;
static_assert(offsetof(PIC_REQUEST, data) + sizeof(PIC_REQUEST::data) -
                      offsetof(PIC_REQUEST, command) ==
                  kRequestPayload,
              "request payload is 76 bytes");
static_assert(sizeof(PIC_REQUEST::data) == 64, "EEPROM write data is at most 64 bytes");
constexpr int kQuitCommand = 255;  // tells the monitor to quit; nothing in the library sends it

// Transactions: attention, acknowledge, then the transaction's own header.
constexpr uint8_t kAttention = 0xF6;
constexpr uint8_t kAck = 0xAA;
constexpr uint8_t kEepromWrite = 0xA0;  // offset, length, answer ack; data, checksum, answer ack
constexpr uint8_t kEepromRead = 0xA1;   // offset, length, answer ack; then data and checksum
constexpr uint8_t kFan1Speed = 0xF7;    // answer ack; then the value twice (PIC) or A, B, A+B (MCU)
constexpr uint8_t kFan2Speed = 0xF8;
constexpr size_t kEepromDataMax = 64;
constexpr int kReadAckBytes = 11;   // an EEPROM read's acknowledge waits give up after 11 bytes
constexpr int kFanRpmUnit = 60;     // a fan value counts 60 rpm
constexpr size_t kMcuFanFrame = 3;  // speed A, speed B, (A + B) mod 256

// Bytes from the controller outside a transaction.
constexpr uint8_t kTempFirst = 0x80;  // 0x80 + degrees, 0 to 100
constexpr uint8_t kTempLast = 0xE4;
constexpr uint8_t kHighTemp75 = '8';
constexpr uint8_t kHighTemp80 = '9';
constexpr uint8_t kFan1Failed = 's';
constexpr uint8_t kFan1Good = 't';
constexpr uint8_t kFan2Failed = 'u';
constexpr uint8_t kFan2Good = 'v';
constexpr uint8_t kPower1Failed = 'R';
constexpr uint8_t kPower2Failed = 'S';
constexpr uint8_t kPower1Good = 'T';
constexpr uint8_t kPower2Good = 'U';
constexpr uint8_t kPowerButton = 0x40;
constexpr uint8_t kMcuQuiet1 = 'w';  // MCU only: accepted and ignored
constexpr uint8_t kMcuQuiet2 = 'x';

// Single-byte commands to the controller.
constexpr int kFanLevel0 = 0x30;  // PIC: levels 0-3 are 0x30-0x33, 4-5 are 0x34, 6-7 are 0x35;
                                  // MCU: level n is 0x30 + n
constexpr int kShortBeep = 0x50;
constexpr int kLongBeep = 0x51;
constexpr int kRootStatusRedBlink = 0x54;
constexpr int kRootStatusGreenBlink = 0x55;
constexpr int kRootStatusGreenOn = 0x56;
constexpr int kRootStatusRedOn = 0x57;
constexpr int kRootStatusAlternate = 0x58;
constexpr int kRootStatusOff = 0x59;
constexpr int kRecoveryLastState = 0x48;  // root: power recovery modes 0 and 1
constexpr int kRecoveryMode2 = 0x49;      // root: power recovery mode 2
constexpr int kPowerLedOff = 0x4B;
constexpr int kPowerLedBlink = 0x4C;
constexpr int kPowerLedOn = 0x4D;
constexpr int kUsbLedOn = 0x60;
constexpr int kUsbLedBlink = 0x61;
constexpr int kUsbLedOff = 0x62;
constexpr int kWatchdogMode0 = 0x67;
constexpr int kWolOn = 0xF2;  // also sent once when a root monitor starts
constexpr int kWolOff = 0xF3;
constexpr int kEupOff = 0xF4;
constexpr int kEupOn = 0xF5;
constexpr int kBeepFlag = 0x100;       // bit 8: the low byte is a beep pattern code
constexpr int kMcuTableFlag = 0x1000;  // bit 12: the rest is an index into mcu_cmds

// EEPROM contents.
constexpr int kSerialRecordLen = 24;  // "SN:" and the text, zero-filled
constexpr const char kSerialPrefix[] = "SN:";
constexpr int kPicSerialOffset = 56;
constexpr int kMcuSerialOffset = 0;
constexpr int kPicMacStride = 20;  // PIC MAC slot: index * 20 + 16, index 0 or 1
constexpr int kPicMacBase = 16;
constexpr int kMcuMacStride = 17;  // MCU MAC slot: index * 17 + 36, 17 bytes
constexpr int kMcuMacBase = 36;
constexpr int kMcuMacLen = 17;

// The MCU's table commands: four ASCII characters and their XOR, answered by three bytes.
constexpr size_t kMcuCommandCount = 18;
constexpr size_t kMcuCommandLen = 5;
constexpr size_t kMcuTableAnswer = 3;

// The sum of the data bytes modulo 256: the checksum of every EEPROM frame.
inline uint8_t frame_checksum(const uint8_t *data, size_t length) {
    unsigned sum = 0;
    for (size_t i = 0; i < length; ++i)
        sum += data[i];
    return static_cast<uint8_t>(sum);
}

}  // namespace nashal::controllers

#endif  // NASHAL_CONTROLLERS_CONTROLLER_FRAMES_H
