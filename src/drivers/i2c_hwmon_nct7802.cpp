// The fan hardware monitor, an NCT7802Y on I2C. It has three tachometer inputs; a multiplexer
// on its GPIO2 puts fans 1 and 2 or fans 4 to 6 on them (fan 3 is always wired).
#include <fcntl.h>

#include <cstdio>

#include "drivers/i2c_bus.h"
#include "nashal/comm_model.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "os/os_seam.h"
#include "topology/model_file.h"

using namespace nashal::drivers;

namespace {

constexpr uint8_t kVendorId = 0xFD;
constexpr int kNuvotonVendor = 0x50;
// GPIO2 function select, direction and output.
constexpr uint8_t kGpioFunction = 0x55;
constexpr uint8_t kGpioDirection = 0x56;
constexpr uint8_t kGpioOutput = 0x59;
// Fan count: the high bits of fan n at register n + 15, the low bits of all in 0x13.
constexpr uint8_t kFanCountBase = 15;
constexpr uint8_t kFanCountLow = 0x13;
constexpr uint8_t kFanControlMode = 0x5F;
constexpr uint8_t kFanDutyMain = 0x62;
constexpr uint8_t kFanDutyDev = 0x61;
constexpr uint8_t kFanStepLow = 0x64;
constexpr uint8_t kFanStepHigh = 0x65;
// The count the monitor holds when it sees no pulses gives this speed.
constexpr int kNoPulseRpm = 164;
constexpr int kFanClock = 1350000;
constexpr int kFans = 6;

// Vendor id check on a bus; -1 until asked, then 1 or 0 for the life of the process.
int hwmon_valid_on(const char *who, const char *bus_path, int addr, int &cache) {
    if (cache >= 0)
        return cache;
    nashal::FileDescriptor fd(open(bus_path, O_RDWR));
    int vendor = -1;
    if (fd.valid() && i2c_select(fd.get(), addr) == 0)
        vendor = smbus_read_byte_data(fd.get(), kVendorId);
    cache = vendor == kNuvotonVendor ? 1 : 0;
    if (cache == 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): Hwmon vendor ID = 0x%x not support.\n", who, __LINE__,
                  static_cast<unsigned int>(vendor));
    return cache;
}

int i2c_hwmon_valid(int addr) {
    static int cache = -1;
    return hwmon_valid_on(__func__, kI2cBus0, addr, cache);
}

// One result for all buses: a unit has one kind of expansion fan monitor.
int i2c_hwmon_dev_valid(int bus, int addr) {
    static int cache = -1;
    char path[32];
    i2c_bus_path(bus, path, sizeof path);
    return hwmon_valid_on(__func__, path, addr, cache);
}

// "FAN_UNIT" of "System FAN" in `file`, kept in `cache` (0 = not read yet).
int fan_unit_address(const char *file, int &cache) {
    if (cache != 0)
        return cache;
    char value[32] = {};
    int32_t addr = 0;
    if (!nashal::topology::model_text("System FAN", "FAN_UNIT", value, sizeof value, file) ||
        comm_sys_parse_c_i2c(value, &addr) < 0)
        return -1;
    cache = addr;
    return addr;
}

int read_fan(int fd, int fan, int *rpm, int *fail) {
    if (fan < 3) {
        if (i2c_hwmon_set_gpio2(fd, 1) < 0)
            return -1;
    } else if (fan > 3) {
        if (i2c_hwmon_set_gpio2(fd, 0) < 0)
            return -1;
        fan -= 3;
    }
    int high = smbus_read_byte_data(fd, static_cast<uint8_t>(fan + kFanCountBase));
    int low = smbus_read_byte_data(fd, kFanCountLow);
    if (high < 0 || low < 0)
        return -1;
    int count = (high << 5) | (low >> 3);
    // A count of 0 can't come from a turning fan; it reads as no speed at all.
    int speed = count == 0 ? 0 : kFanClock / count;
    if (speed == kNoPulseRpm)
        speed = 0;
    *rpm = speed;
    if (speed != 0) {
        *fail = 0;
        return 0;
    }
    int duty = smbus_read_byte_data(fd, kFanDutyMain);
    if (duty < 0)
        return -1;
    // A stopped fan is a failure only while it is being driven.
    *fail = duty != 0 ? 1 : 0;
    return 0;
}

// The shape of every fan call: lock, adapter, the monitor's address and its vendor check,
// then the bus. The lock is not reentrant, so the checks run inside the one call.
template <typename Act>
int fan_call(const char *who, const char *file, int bus, int &address, bool dev, Act act) {
    I2cCall call(who);
    if (!call.ok())
        return -1;
    int addr = fan_unit_address(file, address);
    if (addr < 0)
        return -1;
    char path[32];
    i2c_bus_path(bus, path, sizeof path);
    int valid = dev ? i2c_hwmon_dev_valid(bus, addr) : i2c_hwmon_valid(addr);
    if (valid != 1 || !call.open_device(path, addr))
        return -1;
    return act(call.fd());
}

}  // namespace

extern "C" int i2c_sys_check_hwmon(int bus, int addr) {
    I2cCall call(__func__);
    if (!call.ok())
        return 0;
    return i2c_hwmon_dev_valid(bus, addr);
}

extern "C" int i2c_hwmon_set_gpio2(int fd, int value) {
    const uint8_t set_bit1[] = {kGpioFunction, kGpioDirection};
    for (uint8_t reg : set_bit1) {
        int current = smbus_read_byte_data(fd, reg);
        if (current < 0)
            return -1;
        smbus_write_byte_data(fd, reg, static_cast<uint8_t>(current | 0x02));
    }
    int output = smbus_read_byte_data(fd, kGpioOutput);
    if (output < 0)
        return -1;
    output = value == 1 ? (output | 0x02) : (output & ~0x02);
    smbus_write_byte_data(fd, kGpioOutput, static_cast<uint8_t>(output));
    // The tachometer needs a second on the newly selected fans before its count means anything.
    os_sleep(1);
    return 0;
}

extern "C" int i2c_sys_read_fan_speed(int fan, int *rpm, int *fail) {
    static int address = 0;
    if (!rpm || !fail || fan < 1 || fan > kFans)
        return -1;
    return fan_call(__func__, nashal::topology::kModelConf, 0, address, false,
                    [&](int fd) { return read_fan(fd, fan, rpm, fail); });
}

extern "C" int i2c_sys_read_dev_fan_speed(int bus, int fan, int *rpm, int *fail) {
    static int address = 0;
    if (!rpm || !fail || fan < 1 || fan > kFans)
        return -1;
    return fan_call(__func__, COMM_MODEL_JBOD_CONF, bus, address, true,
                    [&](int fd) { return read_fan(fd, fan, rpm, fail); });
}

extern "C" int i2c_sys_set_fan_pwm(int, int pwm) {
    static int address = 0;
    const char *who = __func__;
    return fan_call(who, nashal::topology::kModelConf, 0, address, false, [&](int fd) {
        smbus_write_byte_data(fd, kFanStepLow, 0);
        smbus_write_byte_data(fd, kFanStepHigh, 0);
        int mode = smbus_read_byte_data(fd, kFanControlMode);
        if (mode < 0)
            return -1;
        printf("%s(%d): val = 0x%x \n", who, __LINE__, static_cast<unsigned int>(mode));
        smbus_write_byte_data(fd, kFanControlMode, static_cast<uint8_t>(mode | 0x40));
        printf("%s(%d): fan_pwm = 0x%x \n", who, __LINE__, static_cast<unsigned int>(pwm));
        return smbus_write_byte_data(fd, kFanDutyMain, static_cast<uint8_t>(pwm)) < 0 ? -1 : 0;
    });
}

// The expansion unit's monitor is wired differently: its fans hang on the second duty output,
// in the mode that 0x20 selects.
extern "C" int i2c_sys_set_dev_fan_pwm(int bus, int, int pwm) {
    static int address = 0;
    return fan_call(__func__, COMM_MODEL_JBOD_CONF, bus, address, true, [&](int fd) {
        smbus_write_byte_data(fd, kFanStepLow, 0);
        smbus_write_byte_data(fd, kFanStepHigh, 0);
        if (smbus_read_byte_data(fd, kFanControlMode) < 0)
            return -1;
        smbus_write_byte_data(fd, kFanControlMode, 0x20);
        return smbus_write_byte_data(fd, kFanDutyDev, static_cast<uint8_t>(pwm)) < 0 ? -1 : 0;
    });
}
