// The board's serial number, MAC addresses and model prefix, by the place the model file says
// each is kept: a network port's EEPROM, the panel controller, or a fixed place on the boot disk.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "enclosure/enclosure_kinds.h"
#include "foundation/raii.h"
#include "foundation/text.h"
#include "nashal/hal_trace.h"
#include "nashal/hal_util.h"
#include "nashal/mcu_sys.h"
#include "nashal/net_sys.h"
#include "nashal/pd_sys.h"
#include "nashal/pic_sys.h"
#include "nashal/se_board.h"
#include "nashal/se_sys.h"
#include "topology/model_file.h"

using namespace nashal::enclosure;
using nashal::topology::kSystemEnclosure;
using nashal::topology::model_text;

namespace {

// Where a "BOOT" value keeps MAC address n: one 18-byte record per port behind the offset.
constexpr uint64_t kMacRecordStride = 18;
// The model prefix record: "MP=" and up to 8 characters, in 12 bytes of partition 6.
constexpr const char *kPrefixPartition = "6";
constexpr off_t kPrefixOffset = 7864448;
constexpr size_t kPrefixRecord = 12;
constexpr size_t kPrefixMax = 8;
// What se_sys_get_mac answers when the board's place can't be read, so that a network port
// still comes up with an address.
constexpr const char *kFallbackMac = "00:00:00:00:05:09";

enum class Place { Net, Pic, Mcu, Boot, Other };

Place place_of(const char *value) {
    if (strncmp(value, "NET", 3) == 0)
        return Place::Net;
    if (strncmp(value, "PIC", 3) == 0)
        return Place::Pic;
    if (strncmp(value, "MCU", 3) == 0)
        return Place::Mcu;
    if (strncmp(value, "BOOT", 4) == 0)
        return Place::Boot;
    return Place::Other;
}

// The port (from 0) of "NET:<n>", n counted from 1; -1 without ":".
int net_port(const char *value) {
    const char *colon = strchr(value, ':');
    return colon ? atoi(colon + 1) - 1 : -1;
}

// Texts read from the disk are whatever the bytes hold: the last byte is made a terminator so
// that no caller reads past the buffer.
int terminated(int result, char *buffer, int size) {
    if (result == 0 && buffer && size > 0)
        buffer[size - 1] = '\0';
    return result;
}

// The boot disk's device node with `partition` appended ("/dev/sda6"); false with a trace.
bool boot_partition(const char *who, const char *partition, char *out, size_t size) {
    char disk[HAL_ID_LEN] = {};
    if (pd_sys_get_boot_disk(0, disk, sizeof disk) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Can't get boot disk\n", who, __LINE__);
        return false;
    }
    return snprintf(out, size, "%s%s", disk, partition) < static_cast<int>(size);
}

}  // namespace

extern "C" int raw_device_access(const char *value, int write, uint64_t offset, char *buffer,
                                 int length) {
    if (!value || !buffer || length <= 0)
        return -1;
    const char *colon = strchr(value, ':');
    if (!colon || colon - value < 4)
        return -1;
    char partition[HAL_ID_LEN] = {};
    nashal::hal_copy(partition, sizeof partition, value + 4,
                     static_cast<size_t>(colon - value - 4));
    offset += static_cast<uint64_t>(strtol(colon + 1, nullptr, 0));

    char device[HAL_ID_LEN + HAL_ID_LEN] = {};
    if (!boot_partition(__func__, partition, device, sizeof device))
        return -1;
    nashal::FileDescriptor fd(::open(device, O_RDWR | O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):open %d fail, error = %d\n", __func__, __LINE__, -1,
                  errno);
        return -1;
    }
    const size_t n = static_cast<size_t>(length);
    if (lseek(fd.get(), static_cast<off_t>(offset), SEEK_SET) < 0 ||
        (write ? write_exactly(fd.get(), buffer, n) : read_exactly(fd.get(), buffer, n)) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):read %d fail, error = %d\n", __func__, __LINE__,
                  fd.get(), errno);
        return -1;
    }
    // The buffer is printed only up to its length: a record read from disk need not end.
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):device = %s, operation = %d, offset = 0x%llx,buf = %.*s\n",
              __func__, __LINE__, device, write, static_cast<unsigned long long>(offset), length,
              buffer);
    return 0;
}

extern "C" int root_get_board_sn(char *buffer, int size) {
    char value[HAL_ID_LEN] = {};
    if (!buffer || size <= 0 || !model_text(kSystemEnclosure, "BOARD_SN_DEVICE", value))
        return -1;
    switch (place_of(value)) {
        case Place::Net:
            return strchr(value, ':') ? net_sys_get_sn(net_port(value), buffer, size) : -1;
        case Place::Pic:
            return pic_sys_get_sn("root", buffer, size);
        case Place::Mcu:
            return mcu_sys_get_sn("root", buffer, size);
        case Place::Boot:
            return terminated(raw_device_access(value, 0, 0, buffer, size), buffer, size);
        case Place::Other:
            break;
    }
    ERR_TRACE(HAL_TRACE_WARN, "%s(%d):Not implement\n", __func__, __LINE__);
    return -1;
}

extern "C" int root_set_board_sn(const char *serial) {
    char value[HAL_ID_LEN] = {};
    if (!serial || !model_text(kSystemEnclosure, "BOARD_SN_DEVICE", value))
        return -1;
    switch (place_of(value)) {
        case Place::Net:
            return strchr(value, ':') ? net_sys_set_sn(net_port(value), serial) : -1;
        case Place::Pic:
            return pic_sys_set_sn("root", serial);
        case Place::Mcu:
            return mcu_sys_set_sn("root", serial);
        case Place::Boot: {
            // The text goes with its terminator, so that a shorter serial ends the longer one.
            char copy[HAL_ID_LEN * 4] = {};
            nashal::hal_copy(copy, serial);
            return raw_device_access(value, 1, 0, copy, static_cast<int>(strlen(copy)) + 1);
        }
        case Place::Other:
            break;
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Not implement", __func__, __LINE__);
    return -1;
}

extern "C" int se_sys_get_mac(int port, char *text, int size) {
    char value[HAL_ID_LEN] = {};
    if (!text || size <= 0 || !model_text(kSystemEnclosure, "ETH_MAC_DEVICE", value))
        return -1;
    int result = -1;
    switch (place_of(value)) {
        case Place::Net: {
            unsigned char bytes[6] = {};
            if (net_sys_get_mac(port, bytes, sizeof bytes) < 0)
                return -1;
            result = Translate_MAC_Bin_To_ASCII(bytes, 6, text, size) > 0 ? 0 : -1;
            break;
        }
        case Place::Pic:
            // The controller's read stores a terminator behind the bytes asked for: ask for one
            // byte less than the buffer holds.
            result = size > 1 ? pic_sys_get_mac(port, text, size - 1) : -1;
            break;
        case Place::Mcu:
            result = mcu_sys_get_mac(port, text, size);
            break;
        case Place::Boot:
            result = terminated(
                raw_device_access(value, 0, static_cast<uint64_t>(port) * kMacRecordStride, text,
                                  size),
                text, size);
            break;
        case Place::Other:
            ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Not implement\n", __func__, __LINE__);
            break;
    }
    if (result == -1 || result == -2) {
        nashal::hal_copy(text, static_cast<size_t>(size), kFallbackMac);
        result = 0;
    }
    return result;
}

extern "C" int se_sys_set_mac(int port, const char *text) {
    char value[HAL_ID_LEN] = {};
    if (!text || !model_text(kSystemEnclosure, "ETH_MAC_DEVICE", value))
        return -1;
    const int length = static_cast<int>(strnlen(text, HAL_ID_LEN * 2));
    switch (place_of(value)) {
        case Place::Net: {
            unsigned char bytes[6] = {};
            if (Translate_MAC_ASCII_To_Bin(text, bytes, 6) < 1)
                return -1;
            return net_sys_set_mac(port, bytes, 6);
        }
        case Place::Pic:
            return pic_sys_set_mac(port, text, length + 1);
        case Place::Mcu:
            return mcu_sys_set_mac(port, text, length);
        case Place::Boot: {
            char copy[HAL_ID_LEN * 2 + 1] = {};
            nashal::hal_copy(copy, text);
            return raw_device_access(value, 1, static_cast<uint64_t>(port) * kMacRecordStride, copy,
                                     length + 1);
        }
        case Place::Other:
            break;
    }
    ERR_TRACE(HAL_TRACE_INFO, "%s(%d):Not implement\n", __func__, __LINE__);
    return -1;
}

namespace {

// The model prefix partition, opened; -1 with the trace of the step that failed.
int open_prefix_partition(const char *who, nashal::FileDescriptor &fd, char *device, size_t size) {
    char disk[HAL_ID_LEN] = {};
    if (pd_sys_get_boot_disk(0, disk, sizeof disk) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Get boot disk fail.\n", who, __LINE__);
        return -1;
    }
    if (strncmp(disk, "/dev/sd", 7) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Not implement\n", who, __LINE__);
        return -1;
    }
    snprintf(device, size, "%s%s", disk, kPrefixPartition);
    fd.reset(::open(device, O_RDWR | O_CLOEXEC));
    if (!fd) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): open %s fail.\n", who, __LINE__, device);
        return -1;
    }
    if (lseek(fd.get(), kPrefixOffset, SEEK_SET) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): lseek 0x%x fail.\n", who, __LINE__,
                  static_cast<unsigned>(kPrefixOffset));
        return -1;
    }
    return 0;
}

}  // namespace

extern "C" int se_sys_set_model_prefix_name(const char *enc_sys_id, const char *prefix) {
    if (!is(enc_sys_id, "root"))
        return -1;
    if (!prefix) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Pointer is NULL\n", __func__, __LINE__);
        return -1;
    }
    if (prefix[0] == '\0')
        ERR_TRACE(HAL_TRACE_WARN, "%s(%d):input data is NULL\n", __func__, __LINE__);
    char record[32] = {};
    snprintf(record, sizeof record, "MP=%.28s", prefix);
    if (strlen(prefix) + 3 >= kPrefixRecord) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Write Data=%s too long\n", __func__, __LINE__, record);
        return -1;
    }
    nashal::FileDescriptor fd;
    char device[HAL_ID_LEN * 2] = {};
    if (open_prefix_partition(__func__, fd, device, sizeof device) != 0)
        return -1;
    if (write_exactly(fd.get(), record, kPrefixRecord) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): write %s fail.\n", __func__, __LINE__, device);
        return -1;
    }
    return 0;
}

extern "C" int se_sys_get_model_prefix_name(const char *enc_sys_id, char *buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    memset(buffer, 0, static_cast<size_t>(size));
    if (!is(enc_sys_id, "root"))
        return -1;
    if (size <= static_cast<int>(kPrefixMax)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): buffer too small.\n", __func__, __LINE__);
        return -1;
    }
    nashal::FileDescriptor fd;
    char device[HAL_ID_LEN * 2] = {};
    if (open_prefix_partition(__func__, fd, device, sizeof device) != 0)
        return -1;
    char record[kPrefixRecord + 1] = {};
    if (read_exactly(fd.get(), record, kPrefixRecord) != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): read fail.\n", __func__, __LINE__);
        return -1;
    }
    if (strncmp(record, "MP=", 3) != 0 || record[3] == '\0')
        return -1;
    nashal::hal_copy(buffer, static_cast<size_t>(size), record + 3, kPrefixMax);
    return 0;
}
