// One ATA command through the SCSI generic driver: SG_IO with an ATA PASS-THROUGH (16) block.
// Every ATA operation of the disk backend (IDENTIFY, SMART, power mode, self test, SCT) builds its
// block with ata_command() and sends it with ata_pass_through(); those that ask for the registers
// back (CK_COND) read them with ata_returned_registers().
#ifndef NASHAL_DISK_ATA_TRANSPORT_H
#define NASHAL_DISK_ATA_TRANSPORT_H

#include <cstddef>
#include <cstdint>

#include "disk/ata_layout.h"

namespace nashal::ata {

// Direction of the data, as sg_io_hdr.dxfer_direction takes it (SG_DXFER_*).
enum class Direction : int { kNone = -1, kToDevice = -2, kFromDevice = -3 };

// The registers of a command block; every byte not named here is 0.
struct Registers {
    uint8_t protocol;  // kProtocolNonData, kProtocolPioDataIn, kProtocolPioDataOut
    uint8_t flags;     // byte 2: CK_COND, T_DIR, BYT_BLOK, T_LENGTH
    uint8_t features;
    uint8_t count;
    uint8_t lba_low;
    uint8_t lba_mid;
    uint8_t lba_high;
    uint8_t command;
};

PassThrough16 ata_command(const Registers &registers);

// One request: the block, where its data goes or comes from, and whether sense is read back
// (mx_sb_len 96 with a buffer) or not (mx_sb_len 0, no buffer).
struct Request {
    PassThrough16 block;
    Direction direction;
    uint8_t *data;  // null with no data
    unsigned data_len;
    bool read_sense;
};

// What came back from a request that the kernel took.
struct Reply {
    uint8_t sense[kSenseBufferLen];
    int sense_len;  // sb_len_wr
    int resid;      // bytes not transferred
    uint8_t status;
};

// Opens `device` ("/dev/sg3") read-write, issues the request, closes. 0 when the kernel took the
// request (the drive may still have refused it: see resid and the sense); -1 when the node won't
// open (silent: an absent disk is no error) or the request failed, traced as "<caller>(<line>):
// System internal error.errno = %d".
int ata_pass_through(const char *caller, const char *device, const Request &request, Reply *reply);

// The sense length test alone: more than 7 bytes, and exactly the header's additional length
// plus 8. Traced as a failed request when it doesn't hold.
bool ata_sense_length_ok(const char *caller, const Reply &reply);

// The registers the drive returned (CK_COND): the sense length test, descriptor format 0x72 and
// an ATA Status Return descriptor (code 9) at sense byte 8. Null, traced, otherwise.
const StatusReturnDescriptor *ata_returned_registers(const char *caller, const Reply &reply);

}  // namespace nashal::ata

#endif  // NASHAL_DISK_ATA_TRANSPORT_H
