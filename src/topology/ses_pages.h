// Decoders of the tools' answers, separate from running the tools: they take the bytes or text
// a tool printed and fill the caller's record. Unit tests and the fuzz target call them
// directly.
#ifndef NASHAL_TOPOLOGY_SES_PAGES_H
#define NASHAL_TOPOLOGY_SES_PAGES_H

#include <cstddef>
#include <cstdint>

namespace nashal::topology {

// SES page 1 ("sg_ses -p 0x1 -rr") to the element type list of the first enclosure descriptor.
// Bytes past `length` read as zero up to the tools' 1024-byte answer buffer. Returns the
// number of types, or -1 (traced with `who_id`) when they exceed max_types or the buffer.
int ses_decode_config_page(const unsigned char *page, size_t length, uint32_t (*types)[2],
                           int max_types, const char *who_id);

// "--raw" text (hexadecimal bytes separated by spaces and line ends) to bytes. Returns the
// count, or -1 when more than `size` bytes are given.
int ses_decode_raw_text(const char *text, size_t length, unsigned char *buffer, int size);

// VPD page 0x80 answer (at most 65 bytes) to the serial text: at most 32 characters from byte
// 4, terminated (serial holds 33 bytes), untrimmed.
void vpd_decode_serial(const unsigned char *page, size_t length, char *serial);

// The designators of VPD page 0x83 (without the 4-byte header): the first SAS target port
// designator's 8 bytes into `address`. True when one qualified.
bool vpd_decode_target_port_address(const unsigned char *designators, size_t length,
                                    unsigned char *address);

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SES_PAGES_H
