// Decoders of the tools' answers, separate from running the tools: they take the bytes or text
// a tool printed and fill the caller's record. Unit tests and the fuzz target call them
// directly.
#ifndef NASHAL_TOPOLOGY_SES_PAGES_H
#define NASHAL_TOPOLOGY_SES_PAGES_H

#include <cstddef>
#include <cstdint>

namespace nashal::topology {

// The decoders don't trace: the public function that ran the tool does, under its own name,
// which is the one an engineer searches the log for.

// SES page 1 ("sg_ses -p 0x1 -rr") to the element type list of the first enclosure descriptor.
// Bytes past `length` read as zero up to the tools' 1024-byte answer buffer. Returns the
// number of types, or -1 when they exceed max_types or the buffer.
int ses_decode_config_page(const unsigned char *page, size_t length, uint32_t (*types)[2],
                           int max_types);

// "--raw" text (hexadecimal bytes separated by spaces and line ends) to bytes. Returns the
// count, or -1 when the page reaches `size` bytes: the caller's buffer is full at `size`, and a
// page that fills it whole counts as overflowing it.
int ses_decode_raw_text(const char *text, size_t length, unsigned char *buffer, int size);

// Where element `index` of `type` starts in a status page of `page_length` bytes, as
// comm_sys_get_ses_control_element_offset counts it, and only when the whole element lies
// inside the page. The type list comes from the enclosure's own configuration page, which may
// promise more elements than its status page holds (a broken or hostile firmware); an element
// outside the page must be neither read nor written. -1 otherwise, traced under `caller`, the
// public function that asks.
int ses_element_in_page(uint32_t type, int index, const uint32_t (*types)[2], int type_count,
                        int page_length, int *offset, const char *caller);

// VPD page 0x80 answer (at most 65 bytes) to the serial text: at most 32 characters from byte
// 4, terminated (serial holds 33 bytes), untrimmed.
void vpd_decode_serial(const unsigned char *page, size_t length, char *serial);

// The designators of VPD page 0x83 (without the 4-byte header): the first SAS target port
// designator's 8 bytes into `address`. True when one qualified.
bool vpd_decode_target_port_address(const unsigned char *designators, size_t length,
                                    unsigned char *address);

}  // namespace nashal::topology

#endif  // NASHAL_TOPOLOGY_SES_PAGES_H
