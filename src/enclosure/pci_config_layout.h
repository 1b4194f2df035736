// The parts of a PCI function's configuration space that the link reader walks: the capability
// list, and in the PCI Express capability the Link Status register.
#ifndef NASHAL_ENCLOSURE_PCI_CONFIG_LAYOUT_H
#define NASHAL_ENCLOSURE_PCI_CONFIG_LAYOUT_H

#include <cstddef>

namespace nashal::enclosure::pci_config {

// The sysfs "config" file: the 256-byte standard header, or 4096 bytes of extended space.
constexpr size_t kStandardSize = 256;
constexpr size_t kExtendedSize = 4096;

// Byte of the header holding the offset of the first capability.
constexpr size_t kCapabilitiesPointer = 0x34;

// A capability entry: its id, then the offset of the next entry (0 ends the list).
constexpr size_t kCapId = 0;
constexpr size_t kCapNext = 1;
constexpr unsigned kCapIdPciExpress = 0x10;

// Link Status, a little-endian word of the PCI Express capability: bits 3-0 the current link
// speed, bits 9-4 the negotiated link width.
constexpr size_t kLinkStatus = 0x12;
constexpr unsigned kLinkSpeedMask = 0x000f;
constexpr unsigned kLinkWidthShift = 4;
constexpr unsigned kLinkWidthMask = 0x3f;

}  // namespace nashal::enclosure::pci_config

#endif  // NASHAL_ENCLOSURE_PCI_CONFIG_LAYOUT_H
