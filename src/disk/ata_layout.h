// The bytes of an ATA command sent through the SCSI generic driver: the ATA PASS-THROUGH (16)
// command block (SAT), the descriptor-format sense data that carries the ATA registers back, and
// the word numbers of the IDENTIFY DEVICE data (ACS). Declared once here; the library's readers
// and the virtual appliance's SG_IO emulator both use these names, and every multi-byte field
// goes through foundation/byte_order.h.
#ifndef NASHAL_DISK_ATA_LAYOUT_H
#define NASHAL_DISK_ATA_LAYOUT_H

#include <cstddef>
#include <cstdint>

#include "foundation/byte_order.h"

namespace nashal::ata {

// ---- ATA PASS-THROUGH (16) command block (SAT, opcode 0x85) ----

struct PassThrough16 {
    uint8_t opcode;        // 0x85
    uint8_t protocol;      // bits 4:1 protocol, bit 0 EXTEND (48-bit registers)
    uint8_t flags;         // OFF_LINE 7:6, CK_COND 5, T_DIR 3, BYT_BLOK 2, T_LENGTH 1:0
    uint8_t features_ext;  // features 15:8
    uint8_t features;      // features 7:0
    uint8_t count_ext;
    uint8_t count;
    uint8_t lba_low_ext;
    uint8_t lba_low;
    uint8_t lba_mid_ext;
    uint8_t lba_mid;
    uint8_t lba_high_ext;
    uint8_t lba_high;
    uint8_t device;
    uint8_t command;
    uint8_t control;
};
static_assert(sizeof(PassThrough16) == 16, "ATA PASS-THROUGH (16) is a 16-byte block");
static_assert(offsetof(PassThrough16, features) == 4 && offsetof(PassThrough16, count) == 6 &&
                  offsetof(PassThrough16, lba_low) == 8 && offsetof(PassThrough16, lba_mid) == 10 &&
                  offsetof(PassThrough16, lba_high) == 12 && offsetof(PassThrough16, command) == 14,
              "register bytes of the command block");

constexpr uint8_t kPassThrough16Opcode = 0x85;
constexpr size_t kPassThrough16Len = sizeof(PassThrough16);

// Byte 1: the protocol sits one place to the left of EXTEND.
constexpr uint8_t kProtocolNonData = 3;
constexpr uint8_t kProtocolPioDataIn = 4;
constexpr uint8_t kProtocolPioDataOut = 5;
constexpr uint8_t protocol_byte(uint8_t protocol) {
    return static_cast<uint8_t>(protocol << 1);
}

// Byte 2.
constexpr uint8_t kFlagCheckCondition = 0x20;  // CK_COND: registers back in the sense data
constexpr uint8_t kFlagDirectionIn = 0x08;     // T_DIR: from the device
constexpr uint8_t kFlagLengthInBlocks = 0x04;  // BYT_BLOK: length counts 512-byte blocks
constexpr uint8_t kFlagLengthInCount = 0x02;   // T_LENGTH 2: length is the sector count field
constexpr uint8_t kFlagLengthMask = 0x03;

// ---- ATA commands and SMART sub-commands (features) ----

constexpr uint8_t kCmdIdentifyDevice = 0xEC;
constexpr uint8_t kCmdSmart = 0xB0;
constexpr uint8_t kCmdCheckPowerMode = 0xE5;
constexpr uint8_t kCmdStandbyImmediate = 0xE0;

constexpr uint8_t kSmartReadData = 0xD0;
constexpr uint8_t kSmartReadThresholds = 0xD1;
constexpr uint8_t kSmartExecuteOffline = 0xD4;
constexpr uint8_t kSmartWriteLog = 0xD6;
constexpr uint8_t kSmartEnable = 0xD8;
constexpr uint8_t kSmartDisable = 0xD9;
constexpr uint8_t kSmartReturnStatus = 0xDA;
// LBA mid/high of every SMART command, and of a RETURN STATUS whose threshold is exceeded.
constexpr uint8_t kSmartLbaMid = 0x4F;
constexpr uint8_t kSmartLbaHigh = 0xC2;
constexpr uint8_t kSmartExceededLbaMid = 0xF4;
constexpr uint8_t kSmartExceededLbaHigh = 0x2C;

// ATA status and error register bits.
constexpr uint8_t kStatusError = 0x01;
constexpr uint8_t kStatusDeviceReady = 0x40;
constexpr uint8_t kStatusSeekComplete = 0x10;  // DSC, set beside DRDY by most drives: 0x50
constexpr uint8_t kErrorAbort = 0x04;

// ---- Sense data: descriptor format with the ATA Status Return descriptor ----

struct DescriptorSenseHeader {
    uint8_t response_code;  // 0x72 current, descriptor format
    uint8_t sense_key;      // low nibble
    uint8_t asc;
    uint8_t ascq;
    uint8_t reserved[3];
    uint8_t additional_length;  // bytes after this header
};
static_assert(sizeof(DescriptorSenseHeader) == 8, "descriptor sense header");

struct StatusReturnDescriptor {
    uint8_t code;               // 0x09
    uint8_t additional_length;  // 0x0C
    uint8_t extend;
    uint8_t error;
    uint8_t count_ext;
    uint8_t count;
    uint8_t lba_low_ext;
    uint8_t lba_low;
    uint8_t lba_mid_ext;
    uint8_t lba_mid;
    uint8_t lba_high_ext;
    uint8_t lba_high;
    uint8_t device;
    uint8_t status;
};
static_assert(sizeof(StatusReturnDescriptor) == 14, "ATA Status Return descriptor");
static_assert(offsetof(StatusReturnDescriptor, error) == 3 &&
                  offsetof(StatusReturnDescriptor, count) == 5 &&
                  offsetof(StatusReturnDescriptor, lba_low) == 7 &&
                  offsetof(StatusReturnDescriptor, lba_mid) == 9 &&
                  offsetof(StatusReturnDescriptor, lba_high) == 11 &&
                  offsetof(StatusReturnDescriptor, status) == 13,
              "register bytes of the status return descriptor");

constexpr uint8_t kSenseDescriptorFormat = 0x72;
constexpr uint8_t kStatusReturnDescriptorCode = 0x09;
constexpr size_t kStatusReturnSenseLen =
    sizeof(DescriptorSenseHeader) + sizeof(StatusReturnDescriptor);  // 22
// The sense buffer the library offers where it reads registers back.
constexpr size_t kSenseBufferLen = 96;

// SCSI answers of a SAT layer.
constexpr uint8_t kScsiStatusCheckCondition = 0x02;
constexpr uint8_t kSenseKeyRecoveredError = 0x01;
constexpr uint8_t kSenseKeyIllegalRequest = 0x05;
constexpr uint8_t kSenseKeyAbortedCommand = 0x0B;
constexpr uint8_t kAscInvalidOpcode = 0x20;
constexpr uint8_t kAscqAtaInformationAvailable = 0x1D;  // ASC 0x00: pass-through information

// ---- IDENTIFY DEVICE data: 256 little-endian words ----

constexpr size_t kIdentifyLen = 512;
constexpr size_t kIdentifyWords = kIdentifyLen / 2;

// Word numbers, as ACS numbers them; texts hold two characters a word, first in the high byte.
constexpr size_t kIdSerial = 10;  // 10 words, 20 characters
constexpr size_t kIdSerialWords = 10;
constexpr size_t kIdFirmware = 23;  // 4 words, 8 characters
constexpr size_t kIdFirmwareWords = 4;
constexpr size_t kIdModel = 27;  // 20 words, 40 characters
constexpr size_t kIdModelWords = 20;
constexpr size_t kIdSectors28 = 60;  // 2 words: user addressable sectors, 28-bit
constexpr size_t kIdMajorVersion = 80;
constexpr size_t kIdMinorVersion = 81;
constexpr size_t kIdCommandSet1 = 82;    // bit 0 SMART supported
constexpr size_t kIdCommandSet2 = 83;    // bit 10 48-bit addressing
constexpr size_t kIdCommandSetExt = 84;  // bit 1 SMART self test, bit 8 WWN
constexpr size_t kIdEnabled1 = 85;       // bit 0 SMART enabled
constexpr size_t kIdEnabled2 = 86;
constexpr size_t kIdEnabledExt = 87;   // bit 1 SMART self test, bit 8 WWN (copies of word 84)
constexpr size_t kIdSectors48 = 100;   // 4 words: user addressable sectors, 48-bit
constexpr size_t kIdSectorSize = 106;  // physical / logical sector size
constexpr size_t kIdWwn = 108;         // 4 words: world wide name, most significant word first
constexpr size_t kIdWwnWords = 4;
constexpr size_t kIdLogicalSectorWords = 117;  // 2 words: logical sector size in words
constexpr size_t kIdDataSetManagement = 169;   // bit 0 TRIM
constexpr size_t kIdSctTransport = 206;        // bit 3 error recovery control
constexpr size_t kIdRotationRate = 217;        // 1 = not rotating

constexpr uint16_t kCmdSet1Smart = 1u << 0;
constexpr uint16_t kCmdSet2Lba48 = 1u << 10;
constexpr uint16_t kCmdSetExtSelfTest = 1u << 1;
constexpr uint16_t kCmdSetExtWwn = 1u << 8;
constexpr uint16_t kEnabled1Smart = 1u << 0;
constexpr uint16_t kSectorSizeValidMask = 0xC000;   // bits 15:14 of word 106 ...
constexpr uint16_t kSectorSizeValid = 0x4000;       // ... equal to 01 when the word is valid
constexpr uint16_t kSectorSizeMultiple = 1u << 13;  // several logical sectors per physical one
constexpr uint16_t kSectorSizeLarge = 1u << 12;     // logical sector longer than 256 words
constexpr uint16_t kSectorSizeExponentMask = 0x000F;
constexpr uint16_t kDataSetManagementTrim = 1u << 0;
constexpr uint16_t kSctErrorRecoveryControl = 1u << 3;
constexpr uint16_t kRotationNonRotating = 1;

inline uint16_t identify_word(const uint8_t *identify, size_t word) {
    return load_le16(identify + 2 * word);
}
inline void set_identify_word(uint8_t *identify, size_t word, uint16_t value) {
    store_le16(identify + 2 * word, value);
}

}  // namespace nashal::ata

#endif  // NASHAL_DISK_ATA_LAYOUT_H
