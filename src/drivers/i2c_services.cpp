// The plain I2C service calls: the VPD ROM pages, a display's EDID, single bytes and bits of a
// device, raw writes, and the locate LEDs driven by an I2C LED controller.
#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "drivers/i2c_bus.h"
#include "nashal/comm_model.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "topology/model_file.h"

using namespace nashal::drivers;
using nashal::topology::model_text;

namespace {

constexpr int kRomPage = 256;
constexpr int kRomSize = 512;

// A ROM access that may cross from the page at addr into the one at addr + 1.
int vpd_transfer(int fd, int addr, int offset, int length, uint8_t *read_into,
                 const uint8_t *write_from) {
    auto move = [&](int device, int at, int count, int done) {
        return read_into ? i2c_read(fd, device, at, count, read_into + done)
                         : i2c_write(fd, device, at, write_from + done, count);
    };
    if (offset >= kRomPage)
        return move(addr + 1, offset - kRomPage, length, 0);
    if (offset + length > kRomPage) {
        int first = kRomPage - offset;
        if (move(addr, offset, first, 0) < 0)
            return -1;
        return move(addr + 1, 0, length - first, first);
    }
    return move(addr, offset, length, 0);
}

bool begins_i2c(const char *value) {
    return strncasecmp(value, "I2C", 3) == 0;
}

}  // namespace

extern "C" int i2c_sys_read_vpd(int addr, int offset, int length, uint8_t *buffer, int size) {
    if (!buffer || offset < 0 || length < 0 || length > size || offset + length > kRomSize)
        return 0;
    // The page split selects each device itself; the session's selection is of the first page.
    I2cCall call(__func__, kI2cBus0, addr);
    if (!call.ok())
        return 0;
    return vpd_transfer(call.fd(), addr, offset, length, buffer, nullptr) == 0 ? length : 0;
}

extern "C" int i2c_sys_write_vpd(int addr, int offset, const uint8_t *buffer, int length) {
    if (!buffer || offset < 0 || length < 0 || offset + length > kRomSize)
        return -1;
    I2cCall call(__func__, kI2cBus0, addr);
    if (!call.ok())
        return -1;
    return vpd_transfer(call.fd(), addr, offset, length, nullptr, buffer);
}

extern "C" int i2c_sys_read_edid(int bus, int addr, int length, uint8_t *buffer) {
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s(%d) called: i2c_bus=%d, edid_addr=0x%x, edid_length=%d\n",
              __func__, __LINE__, bus, addr, length);
    int ret = -1;
    if (buffer && length >= 0) {
        char path[32];
        i2c_bus_path(bus, path, sizeof path);
        I2cCall call(__func__, path, addr, I2cCall::kSkipAdapterCheck);
        if (call.ok())
            ret = i2c_read(call.fd(), addr, 0, length, buffer);
    }
    ERR_TRACE(HAL_TRACE_ALWAYS, "%s(%d) exit: ret=%d\n", __func__, __LINE__, ret);
    return ret;
}

extern "C" int i2c_sys_send_byte(int addr, int value) {
    I2cCall call(__func__, kI2cBus0, addr);
    if (!call.ok())
        return -1;
    return smbus_send_byte(call.fd(), static_cast<uint8_t>(value)) < 0 ? -1 : 0;
}

namespace {

// A call on "/dev/i2c-<bus>": the device selected, `act(fd)` gives the result; `failed` when
// the lock, the adapter, the bus or the device isn't there.
template <typename Act>
int dev_call(const char *who, int bus, int addr, int failed, Act act) {
    char path[32];
    i2c_bus_path(bus, path, sizeof path);
    I2cCall call(who, path, addr);
    return call.ok() ? act(call.fd()) : failed;
}

}  // namespace

extern "C" int i2c_sys_dev_send_byte(int bus, int addr, int value) {
    return dev_call(__func__, bus, addr, -1, [&](int fd) {
        return smbus_send_byte(fd, static_cast<uint8_t>(value)) < 0 ? -1 : 0;
    });
}

extern "C" int i2c_sys_dev_read_byte_data(int bus, int addr, int offset) {
    return dev_call(__func__, bus, addr, -1,
                    [&](int fd) { return smbus_read_byte_data(fd, static_cast<uint8_t>(offset)); });
}

extern "C" int i2c_sys_dev_write_byte_data(int bus, int addr, int offset, int data) {
    return dev_call(__func__, bus, addr, -1, [&](int fd) {
        return smbus_write_byte_data(fd, static_cast<uint8_t>(offset), static_cast<uint8_t>(data)) <
                       0
                   ? -1
                   : 0;
    });
}

extern "C" int i2c_sys_dev_send_byte_data(int bus, int addr, int offset, int bit, int enable) {
    if (bit < 0 || bit > 7)
        return -1;
    return dev_call(__func__, bus, addr, -1, [&](int fd) {
        int value = smbus_read_byte_data(fd, static_cast<uint8_t>(offset));
        if (value < 0)
            return -1;
        value = enable ? (value | (1 << bit)) : (value & ~(1 << bit));
        return smbus_write_byte_data(fd, static_cast<uint8_t>(offset),
                                     static_cast<uint8_t>(value)) < 0
                   ? -1
                   : 0;
    });
}

extern "C" int i2c_sys_write(int addr, const uint8_t *buffer, int length) {
    int ret = -1;
    if (buffer && length >= 0) {
        I2cCall call(__func__, kI2cBus0, addr);
        if (call.ok() && write(call.fd(), buffer, static_cast<size_t>(length)) == length)
            ret = 0;
    }
    if (ret == 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): PIC I2C System Write Success!.\n", __func__, __LINE__);
    else
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): PIC I2C System Write Failed!.\n", __func__, __LINE__);
    return ret;
}

extern "C" int i2c_sys_set_enclosure_led(const char *enc_sys_id, int on) {
    // The disk count is asked for but not used: a unit without one has no LED controller to
    // drive either.
    int32_t max_disk_num = 0;
    if (enc_sys_id && std::strcmp(enc_sys_id, "root") == 0 &&
        !nashal::topology::model_int(nashal::topology::kSystemEnclosure, "MAX_DISK_NUM",
                                     &max_disk_num))
        return -1;
    char value[64] = {};
    if (!model_text("System IO", "FULL_LOCATE_LED", value) || !begins_i2c(value)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
        return -1;
    }
    unsigned int p[8] = {};
    const char *field = std::strchr(value, ':');
    for (int i = 0; i < 8 && field; ++i) {
        p[i] = static_cast<unsigned int>(std::strtoul(field + 1, nullptr, 16)) & 0xff;
        field = std::strchr(field + 1, ':');
    }
    // p1 and p4 are fields of the controller's description that this command doesn't use.
    const uint8_t bytes[4] = {static_cast<uint8_t>(on ? p[3] : p[2]), static_cast<uint8_t>(p[5]),
                              static_cast<uint8_t>(p[6]), static_cast<uint8_t>(p[7])};
    if (i2c_sys_write(static_cast<int>(p[0]), bytes, 4) == 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Enclosure Function Work.\n", __func__, __LINE__);
    else
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Enclosure Function Failed.\n", __func__, __LINE__);
    return 0;
}

extern "C" int i2c_set_enclosure_port_led(const char *enc_sys_id, int port, int on) {
    if (!enc_sys_id || std::strcmp(enc_sys_id, "root") != 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
        return -1;
    }
    char section[64];
    snprintf(section, sizeof section, "System Disk %d", port);
    char value[80] = {};
    if (!model_text(section, "LOCATE_ENCLOSURE_LED", value) || !begins_i2c(value)) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): NOT implement.\n", __func__, __LINE__);
        return -1;
    }
    int32_t addr = 0, start = 0, stop = 0;
    if (comm_sys_parse_c_i2c_start_stop(value, &addr, &start, &stop) < 0)
        return -1;
    return i2c_sys_send_byte(addr, on ? start : stop);
}
