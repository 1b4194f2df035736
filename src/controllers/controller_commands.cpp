// What a monitor does with one order from its queue: a beep pattern, an EEPROM write or read
// transaction, a fan speed read, one of the MCU's table commands, or a plain command byte.
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "controllers/controller_frames.h"
#include "controllers/controller_link.h"
#include "foundation/raii.h"
#include "nashal/hal_trace.h"
#include "nashal/mcu_sys.h"
#include "os/os_seam.h"

namespace nashal::controllers {
namespace {

// The waits for an acknowledge that the protocol leaves uncounted in bytes still end: each byte
// is waited for at most a second, and a controller that keeps sending something else is given
// up after this many bytes rather than listened to for ever.
constexpr int kUncountedAckBytes = 256;

struct BeepStep {
    int byte;
    useconds_t pause_after_us;
};

// The controller's beep patterns by code; an empty pattern writes nothing.
std::vector<BeepStep> beep_pattern(int code) {
    const useconds_t s = 1000000;
    switch (code) {
        case 0:
        case 100:
            return {{kShortBeep, 0}};
        case 1:
        case 101:
            return {{kLongBeep, 0}};
        case 2:
            return {{kShortBeep, s}, {kShortBeep, s}, {kShortBeep, 0}};
        case 3:
        case 4:
        case 5:
        case 6:
        case 7:
        case 10:
        case 11:  // clang-format off
    case 15: case 16: case 17: case 18: case 19: case 20:  // clang-format on
            return {{kLongBeep, 2 * s}, {kLongBeep, 0}};
        case 8:
        case 9:
            return {{kLongBeep, 2 * s}, {kLongBeep, 2 * s}, {kLongBeep, 0}};
        case 12:
        case 13:
            return {{kLongBeep, 2 * s}, {kShortBeep, 750000}, {kShortBeep, 0}};
        case 14:
            return {{kShortBeep, 625000}, {kShortBeep, 625000}, {kShortBeep, 0}};
        default:
            return {};
    }
}

int beep(int fd, int code) {
    for (const BeepStep &step : beep_pattern(code)) {
        const uint8_t byte = static_cast<uint8_t>(step.byte);
        write_line(fd, &byte, 1);
        if (step.pause_after_us >= 1000000)
            os_sleep(step.pause_after_us / 1000000);
        else if (step.pause_after_us > 0)
            os_usleep(step.pause_after_us);
    }
    return 0;
}

int fail(const char *who, int line, int rc, uint8_t data) {
    ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, ret = %d, data = 0x%x\n", who, line, rc,
              data);
    return -1;
}

int eeprom_write(int fd, int offset, int length, const unsigned char *data, const char *who) {
    // The request carries at most 64 data bytes; a larger length byte would send what lies past
    // them.
    if (length < 0 || static_cast<size_t>(length) > kEepromDataMax)
        return fail(who, __LINE__, -1, static_cast<uint8_t>(length));
    int rc = 0;
    uint8_t got = 0;
    const uint8_t header[3] = {kEepromWrite, static_cast<uint8_t>(offset),
                               static_cast<uint8_t>(length)};
    // After the header exactly one byte is read, and it must be the acknowledge.
    if (!open_transaction(fd, header, sizeof header, kUncountedAckBytes, 1, who, &rc, &got))
        return fail(who, __LINE__, rc, got);
    uint8_t frame[kEepromDataMax + 1];
    std::memcpy(frame, data, static_cast<size_t>(length));
    frame[length] = frame_checksum(frame, static_cast<size_t>(length));
    if (!write_line(fd, frame, static_cast<size_t>(length) + 1) || !wait_ack(fd, 1, who, &rc, &got))
        return fail(who, __LINE__, rc, got);
    return 0;
}

int eeprom_read(int fd, const char *id, int offset, int length, const char *who) {
    char path[HAL_NAME_LEN];
    if (!em_path(path, id, "fifo"))
        return -1;
    // The client opens its reading end before it sends the order, so the FIFO has its reader
    // now or never will (a client that has gone): this open does not wait.
    FileDescriptor fifo(::open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!fifo) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error,errno = %d\n", who, __LINE__, errno);
        return -1;
    }
    fcntl(fifo.get(), F_SETFL, 0);
    std::vector<uint8_t> data(static_cast<size_t>(length) + 1, 0);
    int rc = 0;
    uint8_t got = 0;
    const uint8_t header[3] = {kEepromRead, static_cast<uint8_t>(offset),
                               static_cast<uint8_t>(length)};
    if (!open_transaction(fd, header, sizeof header, kReadAckBytes, kReadAckBytes, who, &rc, &got))
        return fail(who, __LINE__, rc, got);
    for (size_t i = 0; i < data.size(); ++i) {
        rc = wait_byte(fd, PIC_WAIT_MS, &data[i], who);
        if (rc != 0)
            return fail(who, __LINE__, rc, data[i]);
    }
    if (frame_checksum(data.data(), static_cast<size_t>(length)) != data[length]) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, checksum dismatch,get checksum = 0x%x\n",
                  who, __LINE__, data[length]);
        return -1;
    }
    write_line(fifo.get(), data.data(), static_cast<size_t>(length));
    return 0;
}

int fan_speed_read(const LinkKind &kind, int fd, int command, unsigned char *buffer,
                   const char *who) {
    int rc = 0;
    uint8_t got = 0;
    const uint8_t fan = static_cast<uint8_t>(command);
    if (!open_transaction(fd, &fan, 1, kUncountedAckBytes, kUncountedAckBytes, who, &rc, &got))
        return fail(who, __LINE__, rc, got);
    if (kind.mcu) {
        uint8_t frame[kMcuFanFrame] = {};
        rc = wait_bytes(fd, PIC_WAIT_MS, frame, kMcuFanFrame, who);
        // A short read passes here as it does on the box: its zeroed bytes then fail or pass
        // on the checksum alone.
        if (rc < 0)
            return fail(who, __LINE__, rc, frame[0]);
        if (static_cast<uint8_t>(frame[0] + frame[1]) != frame[2]) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, checksum dismatch\n", who, __LINE__);
            return -1;
        }
        buffer[0] = static_cast<unsigned char>((frame[0] + frame[1]) / 2);
        return 0;
    }
    uint8_t first = 0, second = 0;
    if ((rc = wait_byte(fd, PIC_WAIT_MS, &first, who)) != 0 ||
        (rc = wait_byte(fd, PIC_WAIT_MS, &second, who)) != 0)
        return fail(who, __LINE__, rc, first);
    if (first != second) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, checksum dismatch\n", who, __LINE__);
        return -1;
    }
    buffer[0] = first;
    return 0;
}

int mcu_table_command(int fd, const char *id, int command, const char *who) {
    const int index = command & ~kMcuTableFlag;
    if (index < 0 || index >= static_cast<int>(kMcuCommandCount)) {
        ERR_TRACE(HAL_TRACE_INFO, "%s(%d):mcu_id = %s, Server receive command = 0x%x.\n", who,
                  __LINE__, id, command);
        return -1;
    }
    const MCU_CMD &row = mcu_cmds[index];
    uint8_t answer[kMcuTableAnswer] = {};
    int rc = write_line(fd, row.bytes, static_cast<size_t>(row.length))
                 ? wait_bytes(fd, PIC_WAIT_MS, answer, kMcuTableAnswer, who)
                 : -1;
    if (rc < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Error, ret = %d, mcu_cmd = 0x%x\n", who,
                  __LINE__, rc, command);
        return -1;
    }
    return 0;
}

}  // namespace

int handle_command(const LinkKind &kind, int fd, const char *id, int command, int offset,
                   int length, unsigned char *buffer, const char *who) {
    if (command & kBeepFlag)
        return beep(fd, command & 0xFF);
    // Offset and length travel as one byte each.
    offset &= 0xFF;
    length &= 0xFF;
    switch (command) {
        case kEepromWrite:
            return eeprom_write(fd, offset, length, buffer, who);
        case kEepromRead:
            return eeprom_read(fd, id, offset, length, who);
        case kFan1Speed:
        case kFan2Speed:
            return fan_speed_read(kind, fd, command, buffer, who);
        default:
            break;
    }
    if (kind.mcu && (command & kMcuTableFlag))
        return mcu_table_command(fd, id, command, who);
    const uint8_t byte = static_cast<uint8_t>(command);
    write_line(fd, &byte, 1);
    return 0;
}

}  // namespace nashal::controllers
