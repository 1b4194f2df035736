// Disks behind a SAS expander: decoders of the pages that place a disk in a bay, apart from
// running the tools (unit tests and the fuzz target call them on captured bytes).
#ifndef NASHAL_DISK_SAS_EXPANDER_DISKS_H
#define NASHAL_DISK_SAS_EXPANDER_DISKS_H

#include <cstddef>

namespace nashal::disk {

// The descriptors of an Additional Element Status page (the bytes behind its 8-byte header):
// the element index plus 1 of the first valid SAS descriptor whose first phy carries
// `sas_address` (8 bytes), or 0 when none does. A descriptor that runs past `length` ends the
// walk.
int decode_additional_status_port(const unsigned char *descriptors, size_t length,
                                  const unsigned char *sas_address);

// The designators of a Device Identification page (behind its 4-byte header): the 8 bytes of
// the first designator of the target device into `wwn`. True when one was found.
bool decode_target_device_address(const unsigned char *designators, size_t length,
                                  unsigned char *wwn);

}  // namespace nashal::disk

#endif  // NASHAL_DISK_SAS_EXPANDER_DISKS_H
