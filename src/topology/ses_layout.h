// Byte layouts of the SCSI pages the library reads through the sg3_utils tools: SES
// configuration (page 1) and status/control (page 2), standard inquiry, and the VPD pages of
// unit serial number (0x80) and device identification (0x83). Every reader uses these names.
#ifndef NASHAL_TOPOLOGY_SES_LAYOUT_H
#define NASHAL_TOPOLOGY_SES_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace nashal::topology {

// Tools' answers are read into buffers of this size.
constexpr size_t kSesAnswerBufLen = 1024;

// SES configuration page (page 1).
constexpr size_t kSesConfEncDescOffset = 8;   // first enclosure descriptor
constexpr size_t kSesEncDescTypeCount = 2;    // number of type descriptor headers
constexpr size_t kSesEncDescLength = 3;       // enclosure descriptor length, minus 4
constexpr size_t kSesEncDescHeaderLen = 4;    // bytes before the counted length
constexpr size_t kSesTypeHeaderLen = 4;       // one type descriptor header
constexpr size_t kSesTypeHeaderType = 0;      // element type
constexpr size_t kSesTypeHeaderPossible = 1;  // number of possible elements

// SES status and control page (page 2).
constexpr size_t kSesStatusFirstDescriptor = 4;  // running position before the first type
constexpr size_t kSesElementLen = 4;             // one element, overall element included

// Standard inquiry.
constexpr size_t kInquiryVendorOffset = 8;
constexpr size_t kInquiryVendorLen = 8;
constexpr size_t kInquiryModelOffset = 16;
constexpr size_t kInquiryModelLen = 16;
constexpr size_t kInquiryVersionOffset = 2;  // the SCSI standard the device claims
constexpr size_t kInquiryRevisionOffset = 32;
constexpr size_t kInquiryRevisionLen = 4;

// VPD page header.
constexpr size_t kVpdHeaderLen = 4;
constexpr size_t kVpdPageLengthOffset = 2;  // big-endian, two bytes

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
constexpr size_t kDesigHeaderLen = 4;
constexpr size_t kDesigProtocolByte = 0;  // upper nibble: protocol identifier
constexpr unsigned kDesigProtocolSas = 6;
constexpr size_t kDesigFlagsByte = 1;
constexpr unsigned kDesigPiv = 0x80;        // protocol identifier valid
constexpr unsigned kDesigAssocMask = 0x30;  // association
constexpr unsigned kDesigAssocTargetPort = 0x10;
constexpr size_t kDesigLengthByte = 3;
constexpr size_t kSasAddressLen = 8;

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SES_LAYOUT_H
