// Byte layouts of the SCSI pages the library reads through the sg3_utils tools: SES
// configuration (page 1) and status/control (page 2), standard inquiry, and the VPD pages of
// unit serial number (0x80) and device identification (0x83). The records are the wire bytes as
// SPC and SES lay them out; the readers and the virtual appliance's stand-in tools both use them,
// and multi-byte fields go through foundation/byte_order.h.
#ifndef NASHAL_TOPOLOGY_SES_LAYOUT_H
#define NASHAL_TOPOLOGY_SES_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::topology {

// Tools' answers are read into buffers of this size.
constexpr size_t kSesAnswerBufLen = 1024;

// Header of the SES configuration (1) and status/control (2) pages.
struct SesPageHeader {
    uint8_t page_code;
    uint8_t subenclosures;  // secondary subenclosures on page 1; status flags on page 2
    uint8_t length_be[2];   // bytes after the first four
    uint8_t generation_be[4];
};
static_assert(sizeof(SesPageHeader) == 8);

// Enclosure descriptor of the configuration page, right behind its header.
struct SesEnclosureDescriptor {
    uint8_t processes;  // relative process id and number of processes
    uint8_t subenclosure_id;
    uint8_t type_count;  // type descriptor headers that follow the descriptors
    uint8_t length;      // bytes after the first four
    uint8_t logical_id_be[8];
    char vendor[8];
    char product[16];
    char revision[4];
};
static_assert(sizeof(SesEnclosureDescriptor) == 40);

// One type descriptor header of the configuration page.
struct SesTypeHeader {
    uint8_t type;
    uint8_t possible;  // number of possible elements, the overall element not counted
    uint8_t subenclosure_id;
    uint8_t text_length;
};
static_assert(sizeof(SesTypeHeader) == 4);

// SES configuration page (page 1), as offsets into it.
constexpr size_t kSesConfEncDescOffset = sizeof(SesPageHeader);  // first enclosure descriptor
constexpr size_t kSesEncDescTypeCount = offsetof(SesEnclosureDescriptor, type_count);
constexpr size_t kSesEncDescLength = offsetof(SesEnclosureDescriptor, length);
constexpr size_t kSesEncDescHeaderLen = offsetof(SesEnclosureDescriptor, logical_id_be);
constexpr size_t kSesTypeHeaderLen = sizeof(SesTypeHeader);
constexpr size_t kSesTypeHeaderType = offsetof(SesTypeHeader, type);
constexpr size_t kSesTypeHeaderPossible = offsetof(SesTypeHeader, possible);

// SES status and control page (page 2): each type has its overall element, then its elements,
// four bytes each. Bit 7 of an element's first byte on the control page is SELECT.
constexpr size_t kSesElementLen = 4;
constexpr uint8_t kSesElementSelect = 0x80;
// The running position before the first type, as the element offsets count it.
constexpr size_t kSesStatusFirstDescriptor = sizeof(SesPageHeader) - kSesElementLen;

// SES element types the enclosure backend reads and writes.
constexpr uint8_t kSesTypeDeviceSlot = 0x01;
constexpr uint8_t kSesTypePowerSupply = 0x02;
constexpr uint8_t kSesTypeCooling = 0x03;
constexpr uint8_t kSesTypeTemperature = 0x04;
constexpr uint8_t kSesTypeDisplay = 0x0c;
constexpr uint8_t kSesTypeEnclosure = 0x0e;
constexpr uint8_t kSesTypeArrayDeviceSlot = 0x17;
constexpr uint8_t kSesTypeSasConnector = 0x19;

// Bytes of one 4-byte status or control element, as the expander code reads and writes them.
constexpr size_t kSesElementStatusByte = 0;  // low nibble: status code (1 OK, 5 not installed)
constexpr uint8_t kSesStatusCodeMask = 0x0f;
constexpr uint8_t kSesStatusOk = 1;
constexpr uint8_t kSesStatusNotInstalled = 5;
constexpr size_t kSesTemperatureByte = 2;  // degrees Celsius plus kSesTemperatureOffset
constexpr int kSesTemperatureOffset = 20;
constexpr size_t kSesCoolingSpeedHighByte = 1;  // low 3 bits: bits 10-8 of the speed
constexpr uint8_t kSesCoolingSpeedHighMask = 0x07;
constexpr size_t kSesCoolingSpeedLowByte = 2;
constexpr int kSesCoolingSpeedUnit = 10;   // revolutions per minute per count
constexpr size_t kSesCoolingCodeByte = 3;  // control: low 3 bits, requested speed code
constexpr uint8_t kSesCoolingCodeMask = 0x07;
constexpr size_t kSesDisplayModeByte = 1;  // 2: show the character of byte 2
constexpr uint8_t kSesDisplayModeCharacter = 2;
constexpr size_t kSesDisplayCharacterByte = 2;
constexpr size_t kSesEnclosureLocateByte = 1;  // bit 7: locate (ident)
constexpr uint8_t kSesEnclosureLocate = 0x80;
// Array device slot and device slot control elements: byte 2 bit 1 requests identify (the
// locate light), byte 3 bit 5 requests fault (the error light).
constexpr size_t kSesSlotIdentByte = 2;
constexpr uint8_t kSesSlotIdent = 0x02;
constexpr size_t kSesSlotFaultByte = 3;
constexpr uint8_t kSesSlotFault = 0x20;
constexpr size_t kSesConnectorTypeByte = 1;  // low 7 bits: connector type
constexpr uint8_t kSesConnectorTypeMask = 0x7f;
constexpr uint8_t kSesConnectorExternal = 2;  // the external connector that counts

// Vendor diagnostic pages of the expansion enclosure firmware. Each starts with a 4-byte
// header: page code, reserved, length of the rest big-endian.
struct VendorPageHeader {
    uint8_t page_code;
    uint8_t reserved;
    uint8_t length_be[2];
};
static_assert(sizeof(VendorPageHeader) == 4);
constexpr size_t kVendorPageLengthOffset = offsetof(VendorPageHeader, length_be);
constexpr size_t kVendorPageHeaderLen = sizeof(VendorPageHeader);

// Page 0x80, sent: a sub-command behind the header; heartbeat and reboot are 8 bytes in all,
// the SAS address setting carries the 8 address bytes behind them.
struct VendorCommandPage {
    VendorPageHeader header;
    uint8_t subcommand;
    uint8_t reserved[3];
};
static_assert(sizeof(VendorCommandPage) == 8);
constexpr uint8_t kVendorCommandPage = 0x80;
constexpr uint8_t kVendorHeartbeat = 1;
constexpr uint8_t kVendorReboot = 2;
constexpr uint8_t kVendorSetSasAddress = 4;
constexpr uint16_t kVendorCommandLength = 4;         // heartbeat and reboot
constexpr uint16_t kVendorSetSasAddressLength = 12;  // with the address

// Page 0x0f, the nickname: sent as 40 bytes with the name from byte 8; received with byte 6
// zero when a name is set and the name from byte 12.
constexpr uint8_t kVendorNicknamePage = 0x0f;
constexpr size_t kNicknameSendLen = 40;
constexpr uint16_t kNicknameSendLength = 0x24;
constexpr size_t kNicknameSendName = 8;
constexpr size_t kNicknameReceiveFlag = 6;
constexpr size_t kNicknameReceiveName = 12;
constexpr size_t kNicknameMaxLen = 32;
constexpr size_t kNicknameReceiveBufLen = 256;

// Page 0x81, received: after the header, records of connector status.
struct ConnectorRecord {
    uint8_t element_type;  // must be the SAS connector type
    uint8_t element_number;
    uint8_t length_be[2];  // bytes after the first four
    uint8_t status;
};
static_assert(sizeof(ConnectorRecord) == 5);
constexpr uint8_t kVendorConnectorPage = 0x81;
constexpr size_t kConnectorRecordHeaderLen = offsetof(ConnectorRecord, status);
constexpr size_t kConnectorRecordLengthOffset = offsetof(ConnectorRecord, length_be);
constexpr size_t kConnectorRecordStatus = offsetof(ConnectorRecord, status);

// Page 0x82, received: the SAS address in bytes 4 to 11.
constexpr uint8_t kVendorSasAddressPage = 0x82;
constexpr size_t kVendorSasAddressOffset = kVendorPageHeaderLen;

// SES Additional Element Status page (0x0a): the page header, then one descriptor per element
// that has protocol-specific information. A descriptor's byte 1 is its length less 2.
constexpr uint8_t kSesAdditionalStatusPage = 0x0a;
struct AesDescriptorHeader {
    uint8_t flags;          // bit 7 invalid, bit 4 EIP, bits 3-0 protocol identifier
    uint8_t length;         // bytes after the first two
    uint8_t eiioe;          // with EIP: element index includes overall elements (bit 0)
    uint8_t element_index;  // with EIP
};
static_assert(sizeof(AesDescriptorHeader) == 4);
constexpr uint8_t kAesInvalid = 0x80;
constexpr uint8_t kAesEip = 0x10;
constexpr uint8_t kAesProtocolMask = 0x0f;
constexpr uint8_t kAesProtocolSas = 6;
constexpr size_t kAesLengthByte = offsetof(AesDescriptorHeader, length);
constexpr size_t kAesLengthBias = 2;  // the length byte leaves out bytes 0 and 1
constexpr size_t kAesElementIndexByte = offsetof(AesDescriptorHeader, element_index);
// Where the protocol-specific part starts, with and without EIP.
constexpr size_t kAesProtocolPartEip = sizeof(AesDescriptorHeader);
constexpr size_t kAesProtocolPartNoEip = 2;
// SAS protocol-specific part for a device slot: a 4-byte header, then phy descriptors.
struct AesSasHeader {
    uint8_t phy_count;
    uint8_t descriptor_type;  // bits 7-6: 0 for a device slot
    uint8_t reserved[2];
};
static_assert(sizeof(AesSasHeader) == 4);
struct AesSasPhyDescriptor {
    uint8_t device_type;
    uint8_t reserved1;
    uint8_t initiator_flags;
    uint8_t target_flags;
    uint8_t attached_sas_address_be[8];
    uint8_t sas_address_be[8];
    uint8_t phy_identifier;
    uint8_t reserved2[7];
};
static_assert(sizeof(AesSasPhyDescriptor) == 28);
// The disk's SAS address from the start of the protocol part.
constexpr size_t kAesSasAddressInPart =
    sizeof(AesSasHeader) + offsetof(AesSasPhyDescriptor, sas_address_be);

// Standard inquiry data, the 36 bytes every device answers.
struct InquiryStandard {
    uint8_t peripheral;  // qualifier and device type (low five bits)
    uint8_t removable;
    uint8_t version;
    uint8_t response_format;
    uint8_t additional_length;  // bytes after the first five
    uint8_t flags5;
    uint8_t flags6;  // EncServ among them
    uint8_t flags7;
    char vendor[8];
    char product[16];
    char revision[4];
};
static_assert(sizeof(InquiryStandard) == 36);
constexpr uint8_t kInquiryTypeMask = 0x1f;
constexpr uint8_t kInquiryEncServ = 0x40;  // in flags6

constexpr size_t kInquiryVendorOffset = offsetof(InquiryStandard, vendor);
constexpr size_t kInquiryVendorLen = sizeof(InquiryStandard::vendor);
constexpr size_t kInquiryModelOffset = offsetof(InquiryStandard, product);
constexpr size_t kInquiryModelLen = sizeof(InquiryStandard::product);
constexpr size_t kInquiryVersionOffset = offsetof(InquiryStandard, version);
constexpr size_t kInquiryRevisionOffset = offsetof(InquiryStandard, revision);
constexpr size_t kInquiryRevisionLen = sizeof(InquiryStandard::revision);

// VPD page header.
struct VpdHeader {
    uint8_t peripheral;
    uint8_t page_code;
    uint8_t length_be[2];  // bytes after the header
};
static_assert(sizeof(VpdHeader) == 4);
constexpr size_t kVpdHeaderLen = sizeof(VpdHeader);
constexpr size_t kVpdPageLengthOffset = offsetof(VpdHeader, length_be);

// Unit serial number page (0x80).
constexpr size_t kVpdSerialAnswerLen = 65;
constexpr size_t kVpdSerialMaxLen = 32;

// Block device characteristics page (0xb1): medium rotation rate, big-endian; 1 is solid state.
constexpr size_t kVpdRotationRateOffset = 4;
constexpr uint16_t kVpdRotationNonRotating = 1;

// READ CAPACITY (16) answer: last LBA (8 bytes) and block length (4); READ CAPACITY (10): 4
// and 4. Both big-endian.
constexpr size_t kReadCap16BlockLenOffset = 8;
constexpr size_t kReadCap16MinLen = 12;
constexpr size_t kReadCap10BlockLenOffset = 4;
constexpr size_t kReadCap10MinLen = 8;

// Device identification page (0x83): designation descriptors.
struct DesignatorHeader {
    uint8_t protocol_code_set;  // protocol identifier in the upper nibble
    uint8_t flags;              // PIV, association, designator type
    uint8_t reserved;
    uint8_t length;  // designator bytes that follow
};
static_assert(sizeof(DesignatorHeader) == 4);
constexpr size_t kDesigHeaderLen = sizeof(DesignatorHeader);
constexpr size_t kDesigProtocolByte = offsetof(DesignatorHeader, protocol_code_set);
constexpr unsigned kDesigProtocolSas = 6;
constexpr size_t kDesigFlagsByte = offsetof(DesignatorHeader, flags);
constexpr unsigned kDesigPiv = 0x80;        // protocol identifier valid
constexpr unsigned kDesigAssocMask = 0x30;  // association
constexpr unsigned kDesigAssocTargetPort = 0x10;
constexpr unsigned kDesigAssocTargetDevice = 0x20;
constexpr unsigned kDesigAssocLogicalUnit = 0x00;
constexpr unsigned kDesigTypeNaa = 0x03;
constexpr unsigned kDesigCodeSetBinary = 0x01;
constexpr size_t kDesigLengthByte = offsetof(DesignatorHeader, length);
constexpr size_t kSasAddressLen = 8;

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SES_LAYOUT_H
