#include "sim/sg_io_model.h"

#include <scsi/sg.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sim/devices.h"
#include "sim/sata_smart_model.h"
#include "sim/fs.h"

namespace nashal::sim {
namespace {

constexpr const char *kLogPath = "/sim/sg_io.log";

// ---- Command handlers: each answers from the disk's folder ----

bool answer_identify(AtaExchange &x) {
    std::string image = read_file(x.disk_dir + "/identify");
    x.transferred = std::min(image.size(), x.data_len);
    std::memcpy(x.data, image.data(), x.transferred);
    return true;
}

// ---- The table of commands: the exact form of each request and who answers it ----

struct AtaCommandRow {
    const char *name;
    ata::PassThrough16 block;  // every byte as the request must carry it ...
    uint16_t variable;         // ... but those whose bit is set here (bit i: block byte i)
    int direction;             // SG_DXFER_*
    unsigned data_len;
    unsigned sense_len;  // mx_sb_len: 0 without sense
    AtaHandler handler;
};

constexpr uint8_t kPioIn = ata::protocol_byte(ata::kProtocolPioDataIn);
constexpr uint8_t kInBlocks =
    ata::kFlagDirectionIn | ata::kFlagLengthInBlocks | ata::kFlagLengthInCount;
constexpr uint8_t kOp = ata::kPassThrough16Opcode;
constexpr uint8_t kNoData = ata::protocol_byte(ata::kProtocolNonData);
constexpr uint8_t kPioOut = ata::protocol_byte(ata::kProtocolPioDataOut);
constexpr uint8_t kCk = ata::kFlagCheckCondition;
constexpr uint8_t kOutBlocks = kCk | ata::kFlagLengthInBlocks | ata::kFlagLengthInCount;
constexpr uint8_t kMid = ata::kSmartLbaMid;
constexpr uint8_t kHigh = ata::kSmartLbaHigh;
constexpr uint8_t kSmart = ata::kCmdSmart;
constexpr uint16_t kLbaLowVaries = 1u << offsetof(ata::PassThrough16, lba_low);

const AtaCommandRow kAtaCommands[] = {
    {"IDENTIFY DEVICE",
     {ata::kPassThrough16Opcode, kPioIn, kInBlocks, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
      ata::kCmdIdentifyDevice, 0},
     0,
     SG_DXFER_FROM_DEV,
     ata::kIdentifyLen,
     0,
     answer_identify},
    {"SMART READ DATA",
     {kOp, kPioIn, kInBlocks, 0, ata::kSmartReadData, 0, 1, 0, 0, 0, kMid, 0, kHigh, 0, kSmart, 0},
     0,
     SG_DXFER_FROM_DEV,
     smart::kSectorSize,
     0,
     answer_smart_read_data},
    {"SMART READ THRESHOLDS",
     {kOp, kPioIn, kInBlocks, 0, ata::kSmartReadThresholds, 0, 1, 0, 0, 0, kMid, 0, kHigh, 0,
      kSmart, 0},
     0,
     SG_DXFER_FROM_DEV,
     smart::kSectorSize,
     0,
     answer_smart_read_thresholds},
    {"SMART ENABLE OPERATIONS",
     {kOp, kNoData, kCk, 0, ata::kSmartEnable, 0, 0, 0, 0, 0, kMid, 0, kHigh, 0, kSmart, 0},
     0,
     SG_DXFER_NONE,
     0,
     0,
     answer_smart_enable},
    {"SMART DISABLE OPERATIONS",
     {kOp, kNoData, kCk, 0, ata::kSmartDisable, 0, 0, 0, 0, 0, kMid, 0, kHigh, 0, kSmart, 0},
     0,
     SG_DXFER_NONE,
     0,
     0,
     answer_smart_enable},
    {"SMART RETURN STATUS",
     {kOp, kNoData, kCk, 0, ata::kSmartReturnStatus, 0, 0, 0, 0, 0, kMid, 0, kHigh, 0, kSmart, 0},
     0,
     SG_DXFER_NONE,
     0,
     ata::kSenseBufferLen,
     answer_smart_return_status},
    {"SMART EXECUTE OFF-LINE IMMEDIATE",
     {kOp, kNoData, kCk, 0, ata::kSmartExecuteOffline, 0, 0, 0, 0, 0, kMid, 0, kHigh, 0, kSmart, 0},
     kLbaLowVaries,
     SG_DXFER_NONE,
     0,
     ata::kSenseBufferLen,
     answer_smart_execute_offline},
    {"SMART WRITE LOG (SCT)",
     {kOp, kPioOut, kOutBlocks, 0, ata::kSmartWriteLog, 0, 1, 0, 0xE0, 0, kMid, 0, kHigh, 0, kSmart,
      0},
     0,
     SG_DXFER_TO_DEV,
     smart::kSectorSize,
     ata::kSenseBufferLen,
     answer_sct_command},
    {"CHECK POWER MODE",
     {kOp, kNoData, kCk, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ata::kCmdCheckPowerMode, 0},
     0,
     SG_DXFER_NONE,
     0,
     ata::kSenseBufferLen,
     answer_check_power_mode},
    {"STANDBY IMMEDIATE",
     {kOp, kNoData, kCk, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ata::kCmdStandbyImmediate, 0},
     0,
     SG_DXFER_NONE,
     0,
     ata::kSenseBufferLen,
     answer_standby_immediate},
};

// The row of a request: same command and, for SMART, same sub-command.
const AtaCommandRow *row_for(const ata::PassThrough16 &block) {
    for (const auto &row : kAtaCommands) {
        bool features_vary = row.variable & (1u << offsetof(ata::PassThrough16, features));
        if (row.block.command == block.command &&
            (features_vary || row.block.features == block.features))
            return &row;
    }
    return nullptr;
}

std::string hex(const uint8_t *p, size_t n) {
    std::string s;
    char b[4];
    for (size_t i = 0; i < n; ++i) {
        snprintf(b, sizeof b, i ? " %02x" : "%02x", p[i]);
        s += b;
    }
    return s;
}

// Why a request differs from its row's form, or empty when it doesn't.
std::string form_mismatch(const AtaCommandRow &row, const sg_io_hdr_t &hdr) {
    const auto *got = reinterpret_cast<const uint8_t *>(hdr.cmdp);
    const auto *want = reinterpret_cast<const uint8_t *>(&row.block);
    char why[160] = "";
    for (size_t i = 0; i < ata::kPassThrough16Len && !why[0]; ++i) {
        if (!(row.variable & (1u << i)) && got[i] != want[i])
            snprintf(why, sizeof why, "block byte %zu is %02x, not %02x", i, got[i], want[i]);
    }
    if (why[0])
        return why;
    if (hdr.dxfer_direction != row.direction)
        snprintf(why, sizeof why, "dxfer_direction %d, not %d", hdr.dxfer_direction, row.direction);
    else if (hdr.dxfer_len != row.data_len || (row.data_len && !hdr.dxferp))
        snprintf(why, sizeof why, "dxfer_len %u, not %u", hdr.dxfer_len, row.data_len);
    else if (hdr.mx_sb_len != row.sense_len || (row.sense_len && !hdr.sbp))
        snprintf(why, sizeof why, "mx_sb_len %u, not %u", hdr.mx_sb_len, row.sense_len);
    else if (hdr.iovec_count || hdr.timeout || hdr.flags)
        snprintf(why, sizeof why, "iovec_count %u, timeout %u, flags %u: all must be 0",
                 hdr.iovec_count, hdr.timeout, hdr.flags);
    return why;
}

void give_sense(sg_io_hdr_t &hdr, const uint8_t *sense, size_t len) {
    size_t n = std::min<size_t>(len, hdr.mx_sb_len);
    if (n && hdr.sbp)
        std::memcpy(hdr.sbp, sense, n);
    hdr.sb_len_wr = static_cast<unsigned char>(hdr.sbp ? n : 0);
    hdr.status = ata::kScsiStatusCheckCondition;
    hdr.masked_status = ata::kScsiStatusCheckCondition >> 1;
    hdr.driver_status = 0x08;  // DRIVER_SENSE
    hdr.info |= SG_INFO_CHECK;
}

// A SAS disk or a bridge without ATA pass-through: the opcode is unknown to it.
void answer_not_ata(sg_io_hdr_t &hdr) {
    uint8_t sense[18] = {0x70, 0, ata::kSenseKeyIllegalRequest, 0, 0, 0, 0, 10};
    sense[12] = ata::kAscInvalidOpcode;
    hdr.resid = static_cast<int>(hdr.dxfer_len);
    give_sense(hdr, sense, sizeof sense);
}

// The SAT layer's answer after the drive ran (or aborted) the command: with CK_COND or an error,
// the registers come back in an ATA Status Return descriptor.
void answer_registers(sg_io_hdr_t &hdr, const AtaExchange &x, bool ok) {
    hdr.resid = static_cast<int>(hdr.dxfer_len - x.transferred);
    if (ok && !(x.block.flags & ata::kFlagCheckCondition))
        return;
    uint8_t sense[ata::kStatusReturnSenseLen] = {};
    ata::DescriptorSenseHeader head{};
    head.response_code = ata::kSenseDescriptorFormat;
    head.sense_key = ok ? ata::kSenseKeyRecoveredError : ata::kSenseKeyAbortedCommand;
    head.ascq = ok ? ata::kAscqAtaInformationAvailable : 0;
    head.additional_length = sizeof(ata::StatusReturnDescriptor);
    ata::StatusReturnDescriptor regs = x.registers;
    regs.code = ata::kStatusReturnDescriptorCode;
    regs.additional_length = sizeof(ata::StatusReturnDescriptor) - 2;
    regs.extend = x.block.protocol & 1;
    std::memcpy(sense, &head, sizeof head);
    std::memcpy(sense + sizeof head, &regs, sizeof regs);
    give_sense(hdr, sense, sizeof sense);
}

int sg_io(const std::string &node_path, sg_io_hdr_t &hdr) {
    std::string node = node_path.substr(node_path.rfind('/') + 1);
    std::string dir = "/sim/ata/" + node;
    if (hdr.interface_id != 'S' || hdr.cmd_len != ata::kPassThrough16Len || !hdr.cmdp) {
        append_file(kLogPath, node + " REFUSED: interface_id or cmd_len or cmdp\n");
        errno = EINVAL;
        return -1;
    }
    ata::PassThrough16 block;
    std::memcpy(&block, hdr.cmdp, sizeof block);
    char line[160];
    snprintf(line, sizeof line, "%s %s dir=%d len=%u sense=%u\n", node.c_str(),
             hex(hdr.cmdp, sizeof block).c_str(), hdr.dxfer_direction, hdr.dxfer_len,
             hdr.mx_sb_len);
    append_file(kLogPath, line);
    std::string fail = read_file(dir + "/errno");
    if (!fail.empty()) {
        errno = atoi(fail.c_str());
        return -1;
    }
    hdr.status = hdr.masked_status = hdr.host_status = hdr.driver_status = 0;
    hdr.sb_len_wr = 0;
    hdr.resid = 0;
    hdr.info = 0;
    if (block.opcode != ata::kPassThrough16Opcode || !exists(dir + "/identify")) {
        answer_not_ata(hdr);
        return 0;
    }
    AtaExchange x{dir, block, static_cast<uint8_t *>(hdr.dxferp), hdr.dxfer_len};
    x.registers.status = ata::kStatusDeviceReady | ata::kStatusSeekComplete;
    const AtaCommandRow *row = row_for(block);
    if (!row) {
        // A command the drive doesn't know: ABORT, as ATA has it.
        x.registers.error = ata::kErrorAbort;
        x.registers.status |= ata::kStatusError;
        answer_registers(hdr, x, false);
        return 0;
    }
    std::string why = form_mismatch(*row, hdr);
    if (!why.empty()) {
        append_file(kLogPath, node + " REFUSED " + row->name + ": " + why + "\n");
        errno = EINVAL;
        return -1;
    }
    bool ok = row->handler(x);
    answer_registers(hdr, x, ok);
    return 0;
}

}  // namespace

void attach_sg_io_emulator() {
    register_ioctl_prefix("/dev/sg", [](int fd, unsigned long request, void *arg) {
        auto *hdr = static_cast<sg_io_hdr_t *>(arg);
        if (request != SG_IO || !hdr) {
            errno = ENOTTY;
            return -1;
        }
        return sg_io(device_path_of(fd), *hdr);
    });
}

std::vector<std::string> sg_io_requests() {
    return read_lines(kLogPath);
}

void clear_sg_io_requests() {
    write_file(kLogPath, "");
}

}  // namespace nashal::sim
