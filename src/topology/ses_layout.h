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
constexpr unsigned kDesigAssocLogicalUnit = 0x00;
constexpr unsigned kDesigTypeNaa = 0x03;
constexpr unsigned kDesigCodeSetBinary = 0x01;
constexpr size_t kDesigLengthByte = offsetof(DesignatorHeader, length);
constexpr size_t kSasAddressLen = 8;

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SES_LAYOUT_H
