// SG_IO with ATA PASS-THROUGH (16): the one place the disk backend talks ATA to a drive.
#include "disk/ata_transport.h"

#include <fcntl.h>
#include <scsi/sg.h>

#include <cerrno>
#include <cstring>

#include "foundation/raii.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"

namespace nashal::ata {

PassThrough16 ata_command(const Registers &r) {
    PassThrough16 block{};
    block.opcode = kPassThrough16Opcode;
    block.protocol = protocol_byte(r.protocol);
    block.flags = r.flags;
    block.features = r.features;
    block.count = r.count;
    block.lba_low = r.lba_low;
    block.lba_mid = r.lba_mid;
    block.lba_high = r.lba_high;
    block.command = r.command;
    return block;
}

int ata_pass_through(const char *caller, const char *device, const Request &request, Reply *reply) {
    *reply = Reply{};
    FileDescriptor fd(::open(device, O_RDWR));
    if (!fd)
        return -1;
    // The block is copied so the kernel gets a writable command buffer of its own.
    PassThrough16 block = request.block;
    sg_io_hdr_t hdr{};
    hdr.interface_id = 'S';
    hdr.cmd_len = static_cast<unsigned char>(sizeof block);
    hdr.cmdp = reinterpret_cast<unsigned char *>(&block);
    hdr.dxfer_direction = static_cast<int>(request.direction);
    hdr.dxfer_len = request.data_len;
    hdr.dxferp = request.data;
    if (request.read_sense) {
        hdr.mx_sb_len = static_cast<unsigned char>(sizeof reply->sense);
        hdr.sbp = reply->sense;
    }
    // Timeout 0: the kernel's default for the queue.
    if (os_ioctl(fd.get(), SG_IO, &hdr) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error.errno = %d\n", caller, __LINE__,
                  errno);
        return -1;
    }
    reply->sense_len = hdr.sb_len_wr;
    reply->resid = hdr.resid;
    reply->status = hdr.status;
    return 0;
}

bool ata_sense_length_ok(const char *caller, const Reply &reply) {
    if (reply.sense_len > 7 && reply.sense_len == reply.sense[7] + 8)
        return true;
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error.errno = %d\n", caller, __LINE__,
              errno);
    return false;
}

const StatusReturnDescriptor *ata_returned_registers(const char *caller, const Reply &reply) {
    if (!ata_sense_length_ok(caller, reply))
        return nullptr;
    // The length test guarantees 8 + additional bytes were written; the descriptor needs 14.
    const auto *descriptor = reinterpret_cast<const StatusReturnDescriptor *>(
        reply.sense + sizeof(DescriptorSenseHeader));
    if (reply.sense[0] != kSenseDescriptorFormat ||
        static_cast<size_t>(reply.sense_len) < kStatusReturnSenseLen ||
        descriptor->code != kStatusReturnDescriptorCode) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error.errno = %d\n", caller, __LINE__,
                  errno);
        return nullptr;
    }
    return descriptor;
}

}  // namespace nashal::ata
