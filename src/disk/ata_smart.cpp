// SMART, power mode, self tests and SCT error recovery timers of SATA disks, each one ATA
// command through the SCSI generic node. Every call opens and closes the node itself; the
// kernel serialises the commands of concurrent callers.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "disk/ata_transport.h"
#include "disk/smart_decode.h"
#include "disk/smart_layout.h"
#include "foundation/byte_order.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_smart.h"

using namespace nashal;
using namespace nashal::ata;

namespace {

constexpr uint8_t kNonDataWithRegisters = kFlagCheckCondition;
constexpr uint8_t kSectorIn = kFlagDirectionIn | kFlagLengthInBlocks | kFlagLengthInCount;
constexpr uint8_t kSectorOutWithRegisters =
    kFlagCheckCondition | kFlagLengthInBlocks | kFlagLengthInCount;

// A SMART sub-command: the features byte picks it, LBA mid and high carry its signature.
Registers smart_registers(uint8_t protocol, uint8_t flags, uint8_t features, uint8_t count,
                          uint8_t lba_low) {
    return {protocol, flags, features, count, lba_low, kSmartLbaMid, kSmartLbaHigh, kCmdSmart};
}

// A non-data command whose registers come back in the sense data: the returned registers, or
// null (traced) when the request or its sense fails.
const StatusReturnDescriptor *ask_registers(const char *caller, const char *device,
                                            const Registers &registers, Reply &reply) {
    Request request{ata_command(registers), Direction::kNone, nullptr, 0, true};
    if (ata_pass_through(caller, device, request, &reply) != 0)
        return nullptr;
    return ata_returned_registers(caller, reply);
}

int refused(const char *caller, int line) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error.errno = %d\n", caller, line, errno);
    return -1;
}

// The registers of a command that reads something back: null (traced) also when the drive
// aborted it, since its registers then hold no answer.
const StatusReturnDescriptor *ask_answer(const char *caller, const char *device,
                                         const Registers &registers, Reply &reply) {
    const StatusReturnDescriptor *r = ask_registers(caller, device, registers, reply);
    if (r && (r->error & kErrorAbort)) {
        refused(caller, __LINE__);
        return nullptr;
    }
    return r;
}

// A command that only acts: 0 when the drive's status has no ERR bit.
int run_command(const char *caller, const char *device, const Registers &registers) {
    Reply reply;
    const StatusReturnDescriptor *r = ask_registers(caller, device, registers, reply);
    if (!r)
        return -1;
    return (r->status & kStatusError) ? refused(caller, __LINE__) : 0;
}

// One 512-byte SMART sector from the drive. A drive that sends less than the whole sector has
// not answered: its zero tail would read as an empty attribute table.
int read_smart_sector(const char *caller, const char *device, uint8_t features, uint8_t *buffer) {
    if (!device || !buffer)
        return -1;
    std::memset(buffer, 0, smart::kSectorSize);
    Request request{ata_command(smart_registers(kProtocolPioDataIn, kSectorIn, features, 1, 0)),
                    Direction::kFromDevice, buffer, smart::kSectorSize, false};
    Reply reply;
    if (ata_pass_through(caller, device, request, &reply) != 0)
        return -1;
    if (reply.resid != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): %s sent %d of %zu bytes\n", caller, __LINE__, device,
                  static_cast<int>(smart::kSectorSize) - reply.resid, smart::kSectorSize);
        return -1;
    }
    return 0;
}

// "/dev/<pd_sys_id>" in the 32 bytes the node name has always had.
struct Node {
    char path[HAL_ID_LEN];
    explicit Node(const char *name) {
        int cut = snprintf(path, sizeof path, "/dev/%s", name ? name : "");
        (void)cut;
    }
};

}  // namespace

extern "C" int get_ata_smart_value(const char *device, uint8_t *buffer_512) {
    return read_smart_sector(__func__, device, kSmartReadData, buffer_512);
}

extern "C" int get_ata_smart_threshold(const char *device, uint8_t *buffer_512) {
    return read_smart_sector(__func__, device, kSmartReadThresholds, buffer_512);
}

extern "C" int get_ata_smart_status(const char *device, int *status_out) {
    if (!device || !status_out)
        return -1;
    *status_out = -1;
    Reply reply;
    const StatusReturnDescriptor *r = ask_answer(
        __func__, device,
        smart_registers(kProtocolNonData, kNonDataWithRegisters, kSmartReturnStatus, 0, 0), reply);
    if (!r)
        return -1;
    if (r->lba_mid == kSmartLbaMid && r->lba_high == kSmartLbaHigh) {
        *status_out = ATA_SMART_STATUS_GOOD;
        return 0;
    }
    if (r->lba_mid == kSmartExceededLbaMid && r->lba_high == kSmartExceededLbaHigh) {
        *status_out = ATA_SMART_STATUS_THRESHOLD_EXCEEDED;
        return 0;
    }
    return refused(__func__, __LINE__);
}

extern "C" int enable_ata_smart(const char *device, int enable) {
    if (!device)
        return -1;
    Registers registers = smart_registers(kProtocolNonData, kNonDataWithRegisters,
                                          enable ? kSmartEnable : kSmartDisable, 0, 0);
    Request request{ata_command(registers), Direction::kNone, nullptr, 0, false};
    Reply reply;
    return ata_pass_through(__func__, device, request, &reply);
}

extern "C" int get_sata_power_status(const char *device, int *power_out) {
    if (!device || !power_out)
        return -1;
    Reply reply;
    const StatusReturnDescriptor *r = ask_answer(
        __func__, device,
        {kProtocolNonData, kNonDataWithRegisters, 0, 0, 0, 0, 0, kCmdCheckPowerMode}, reply);
    if (!r)
        return -1;
    // 0xFF active or idle, 0x00 standby. The other answers of newer drives (0x80 idle, 0x40 and
    // 0x41 spinning up or down) are not told apart here and count as unknown.
    if (r->count == 0xFF) {
        *power_out = 1;
        return 0;
    }
    if (r->count == 0x00) {
        *power_out = 0;
        return 0;
    }
    return refused(__func__, __LINE__);
}

extern "C" int set_sata_power_standby(const char *device) {
    if (!device)
        return -1;
    return run_command(
        __func__, device,
        {kProtocolNonData, kNonDataWithRegisters, 0, 0, 0, 0, 0, kCmdStandbyImmediate});
}

extern "C" int set_sata_self_test(const char *device, int mode) {
    if (!device)
        return -1;
    uint8_t subcommand;
    switch (mode) {
        case PD_SELF_TEST_SHORT:
            subcommand = 1;  // short self test, off-line mode
            break;
        case PD_SELF_TEST_EXTENDED:
            subcommand = 2;  // extended self test, off-line mode
            break;
        case PD_SELF_TEST_ABORT:
            subcommand = 127;  // abort the running self test
            break;
        default:
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal:unknown self test mode = %d\n",
                      __func__, __LINE__, mode);
            return -1;
    }
    return run_command(__func__, device,
                       smart_registers(kProtocolNonData, kNonDataWithRegisters,
                                       kSmartExecuteOffline, 0, subcommand));
}

extern "C" int do_sata_error_timer(const char *device, uint8_t *sector_512, int *timer_out) {
    if (!device || !sector_512)
        return -1;
    constexpr uint8_t kSctLog = 0xE0;
    Request request{ata_command(smart_registers(kProtocolPioDataOut, kSectorOutWithRegisters,
                                                kSmartWriteLog, 1, kSctLog)),
                    Direction::kToDevice, sector_512, smart::kSectorSize, true};
    Reply reply;
    if (ata_pass_through(__func__, device, request, &reply) != 0 ||
        !ata_sense_length_ok(__func__, reply))
        return -1;
    // Only the length is tested: the descriptor lies inside the 96-byte buffer either way.
    const auto *r = reinterpret_cast<const StatusReturnDescriptor *>(reply.sense +
                                                                     sizeof(DescriptorSenseHeader));
    constexpr uint8_t kGood = kStatusDeviceReady | kStatusSeekComplete;
    if (r->error == 0 && r->status == kGood) {
        if (load_le16(sector_512 + smart::kSctFunction) == smart::kSctGet && timer_out)
            *timer_out = (r->lba_low << 8) | r->count;
        return 0;
    }
    if (r->error == kErrorAbort && r->status == (kGood | kStatusError)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal error.Extend status = 0x%x\n", __func__,
                  __LINE__, (r->lba_low << 8) | r->count);
        return -1;
    }
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System internal unknown error.\n", __func__, __LINE__);
    return -1;
}

namespace {

int error_timer(const char *name, int is_write_timer, uint16_t function, int timer,
                int *timer_out) {
    uint8_t sector[smart::kSectorSize] = {};
    store_le16(sector + smart::kSctActionCode, smart::kSctErrorRecoveryControl);
    store_le16(sector + smart::kSctFunction, function);
    store_le16(sector + smart::kSctSelector,
               is_write_timer ? smart::kSctWriteTimer : smart::kSctReadTimer);
    if (function == smart::kSctSet)
        store_le16(sector + smart::kSctValue, static_cast<uint16_t>(timer));
    Node node(name);
    return do_sata_error_timer(node.path, sector, timer_out);
}

}  // namespace

extern "C" int pd_sys_get_ata_smart(const char *, const char *name, int *smart_status_out,
                                    SMART_ATTR *attrs, int attrs_size, int *test_status_out,
                                    int *test_percent_out, int *short_minutes_out,
                                    int *extended_minutes_out) {
    Node node(name);
    int status = -1;
    if (get_ata_smart_status(node.path, &status) != 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): pd_sys_id = %s: System Internal Error\n", __func__,
                  __LINE__, name ? name : "");
    if (smart_status_out)
        *smart_status_out = status;
    uint8_t sector[smart::kSectorSize];
    if (get_ata_smart_value(node.path, sector) != 0)
        return -1;
    // The checksum is told, not enforced: some drives ship a wrong one and their attributes are
    // still what the management pages must show.
    if (!smart::checksum_ok(sector))
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): pd_sys_id = %s: SMART data checksum mismatch\n",
                  __func__, __LINE__, name ? name : "");
    if (short_minutes_out)
        *short_minutes_out = sector[smart::kShortPollMinutes];
    if (extended_minutes_out)
        *extended_minutes_out = sector[smart::kExtendedPollMinutes];
    int count = attrs ? smart::decode_attributes(sector, attrs, attrs_size) : 0;
    smart::SelfTestState test = smart::decode_self_test(sector);
    if (test_percent_out)
        *test_percent_out = test.percent;
    if (test_status_out)
        *test_status_out = test.status;
    if (count == 0)
        return -1;
    if (get_ata_smart_threshold(node.path, sector) != 0)
        return -1;
    if (!smart::checksum_ok(sector))
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d): pd_sys_id = %s: SMART thresholds checksum mismatch\n",
                  __func__, __LINE__, name ? name : "");
    smart::apply_thresholds(sector, attrs, count);
    return count;
}

extern "C" int pd_sys_set_ata_standby(const char *, const char *name) {
    Node node(name);
    return set_sata_power_standby(node.path);
}

extern "C" int pd_sys_get_ata_power(const char *, const char *name, int *power_out) {
    Node node(name);
    return get_sata_power_status(node.path, power_out);
}

extern "C" int pd_sys_set_ata_self_test(const char *, const char *name, int mode) {
    Node node(name);
    return set_sata_self_test(node.path, mode);
}

extern "C" int pd_sys_set_ata_error_timer(const char *, const char *name, int is_write_timer,
                                          int timer) {
    return error_timer(name, is_write_timer, smart::kSctSet, timer, nullptr);
}

extern "C" int pd_sys_get_ata_error_timer(const char *, const char *name, int is_write_timer,
                                          int *timer_out) {
    return error_timer(name, is_write_timer, smart::kSctGet, 0, timer_out);
}
