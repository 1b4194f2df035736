// What the PIC and the MCU links share: one design (a monitor per enclosure that alone owns the
// serial line, a System V queue for orders, files under /tmp/em for findings, a FIFO for EEPROM
// reads) with a handful of differences, gathered in one LinkKind per controller. The pic_sys_*
// and mcu_sys_* entry points are thin and pass their own name for the traces.
#ifndef NASHAL_CONTROLLERS_CONTROLLER_LINK_H
#define NASHAL_CONTROLLERS_CONTROLLER_LINK_H

#include <sys/types.h>
#include <termios.h>

#include <cstddef>
#include <cstdint>

#include "nashal/hal_types.h"
#include "nashal/pic_sys.h"

namespace nashal::controllers {

struct LinkKind {
    bool mcu;                 // the MCU's differences apply
    const char *word;         // "PIC" or "MCU", as the messages say it
    const char *link_suffix;  // sign-of-life link "/tmp/em/em_%s.<suffix>"
    int lock_key;             // client EEPROM semaphore
    tcflag_t cflag;           // speed and framing of the line
    int serial_offset;        // EEPROM place of the "SN:" record
};

extern const LinkKind kPicLink;
extern const LinkKind kMcuLink;

// The id of an enclosure's controller: "root", or the USB port path behind "usb_", cut to 32
// bytes. False for any other enc_sys_id.
bool controller_id_of(const char *enc_sys_id, char (&out)[HAL_ID_LEN]);

// "/tmp/em/em_<id>.<suffix>" in a 64-byte buffer; false when it doesn't fit.
bool em_path(char (&out)[HAL_NAME_LEN], const char *id, const char *suffix);
// Makes /tmp/em (mode 0700) when stat doesn't find it. False when it can't be made.
bool make_em_dir();

// 0 when the link names a live monitor of this id, -1 otherwise (a stale link is removed).
int monitor_alive(const LinkKind &kind, const char *id);

// Opens and sets up the line; the descriptor or -1.
int open_line(const LinkKind &kind, const char *device, const char *who);
// One byte within timeout_ms (0xFF in *out until then): 0, -1 on timeout, or a failed read's
// result.
int wait_byte(int fd, int timeout_ms, uint8_t *out, const char *who);
// Reads up to `length` bytes in one read once input is there: 0 when all came, -1 after the
// whole timeout, else the read's result (a short read is positive).
int wait_bytes(int fd, int timeout_ms, uint8_t *buffer, int length, const char *who);
// Waits for the acknowledge byte, throwing other bytes away, over at most max_bytes bytes.
// True on the acknowledge; false with *got holding the last byte (or the failed wait's result
// in *rc).
bool wait_ack(int fd, int max_bytes, const char *who, int *rc, uint8_t *got);
// Writes all bytes; false on a failed write.
bool write_line(int fd, const uint8_t *bytes, size_t length);
// Opens a transaction: the attention byte and its acknowledge (looked for over at most
// attention_ack_bytes bytes), then the header and its acknowledge (header_ack_bytes). False
// with the failed wait's result in *rc and the last byte in *got.
bool open_transaction(int fd, const uint8_t *header, size_t header_length, int attention_ack_bytes,
                      int header_ack_bytes, const char *who, int *rc, uint8_t *got);

// The client side.
int send_request(const LinkKind &kind, const char *who, const char *id, int command);
int access_eeprom(const LinkKind &kind, const char *who, const char *id, int write, int offset,
                  int length, unsigned char *buffer);
int get_serial(const LinkKind &kind, const char *who, const char *id, char *buffer, int size);
int set_serial(const LinkKind &kind, const char *who, const char *id, const char *serial);
// The text of a MAC address with a ":" after every two characters (a ":" of the input at that
// place is dropped, so text with and without colons stores the same), in 32 bytes.
void mac_text(const char *text, char (&out)[32]);
// Reads the number in /tmp/em/em_<id>.<name>; false (with the trace) when it can't.
bool read_value_file(const char *who, const char *id, const char *name, long *value);
// Speaks to the line directly (no monitor yet, early in boot): the EEPROM read transaction of
// `length` bytes at `offset` with both acknowledge waits capped at 11 bytes, `read_length`
// bytes into buffer, the checksum compared over `length` bytes with the byte after them.
int direct_eeprom_read(const LinkKind &kind, const char *who, int offset, int length,
                       unsigned char *buffer, int read_length);

// The monitor side.
int start_monitor(const LinkKind &kind, const char *who, const char *enc_sys_id, int no_fan_poll);
int handle_command(const LinkKind &kind, int fd, const char *id, int command, int offset,
                   int length, unsigned char *buffer, const char *who);
int parse_data_in(const LinkKind &kind, int fd, const char *id, const char *who);
// Files of the monitor: `force` writes even an unchanged value (the start-up values).
void write_sys_temp(const LinkKind &kind, const char *id, int degrees, bool force);
void write_fan_err(const char *id, int fan, int value, bool force);
void write_pwr_err(const char *id, int supply, int value, bool force);
void write_fan_speed(const char *id, int fan, int value, bool force);

// One EEPROM access at a time across processes: a System V semaphore with SEM_UNDO, so that a
// dead client frees it.
int acquire_link_lock(int key, int *sem_id, const char *who);
void release_link_lock(int sem_id);

}  // namespace nashal::controllers

#endif  // NASHAL_CONTROLLERS_CONTROLLER_LINK_H
