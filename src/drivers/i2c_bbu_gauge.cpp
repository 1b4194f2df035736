// The battery backup unit: a fuel gauge that reports the battery's state in SMBus words, and a
// GPIO expander beside it for the unit's LEDs and charge switches.
#include <fcntl.h>

#include "drivers/i2c_bus.h"
#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"

using namespace nashal::drivers;

namespace {

// ManufacturerAccess: writing 6 to command 0 makes the next read of command 0 report the
// gauge's chemistry/manufacture status, whose low byte is 0x0A on the gauge the unit carries.
constexpr uint8_t kManufacturerAccess = 0x00;
constexpr uint16_t kManufactureStatusRequest = 6;
constexpr int kExpectedStatus = 0x0A;
// Smart battery words.
constexpr uint8_t kTemperature = 0x08;
constexpr uint8_t kVoltage = 0x09;
constexpr uint8_t kCurrent = 0x0A;
constexpr uint8_t kRemainingCapacity = 0x0F;
constexpr uint8_t kFullChargeCapacity = 0x10;

int i2c_bbu_gauge_valid(int addr) {
    static int cache = -1;
    if (cache >= 0)
        return cache;
    nashal::FileDescriptor fd(open(kI2cBus0, O_RDWR));
    int status = -1;
    if (fd.valid() && i2c_select(fd.get(), addr) == 0 &&
        smbus_write_word_data(fd.get(), kManufacturerAccess, kManufactureStatusRequest) >= 0)
        status = smbus_read_byte_data(fd.get(), kManufacturerAccess);
    cache = status >= 0 && (status & 0xFF) == kExpectedStatus ? 1 : 0;
    if (cache == 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): BBU Gauge Manufacture Status = 0x%x not support.\n",
                  __func__, __LINE__, static_cast<unsigned int>(status));
    return cache;
}

}  // namespace

extern "C" int i2c_sys_set_bbu_gpio(int addr, int reg, int value) {
    I2cCall call(__func__, kI2cBus0, addr);
    if (!call.ok())
        return -1;
    return smbus_write_byte_data(call.fd(), static_cast<uint8_t>(reg),
                                 static_cast<uint8_t>(value)) < 0
               ? -1
               : 0;
}

extern "C" int i2c_sys_get_bbu_gpio(int addr, int reg) {
    I2cCall call(__func__, kI2cBus0, addr);
    if (!call.ok())
        return 0;
    int value = smbus_read_byte_data(call.fd(), static_cast<uint8_t>(reg));
    return value < 0 ? 0 : value;
}

extern "C" int i2c_sys_get_bbu_status(int addr, BBU_STATUS *status) {
    if (!status)
        return -1;
    I2cCall call(__func__);
    if (!call.ok() || i2c_bbu_gauge_valid(addr) != 1 || !call.open_device(kI2cBus0, addr))
        return -1;
    int words[5];
    const uint8_t commands[5] = {kTemperature, kVoltage, kCurrent, kRemainingCapacity,
                                 kFullChargeCapacity};
    for (int i = 0; i < 5; ++i) {
        words[i] = smbus_read_word_data(call.fd(), commands[i]);
        if (words[i] < 0)
            return -1;
    }
    // The gauge counts in tenths of a kelvin.
    status->temperature = words[0] / 10.0 - 273.1;
    status->voltage = words[1];
    // Passed on as the gauge's word; the reader knows the current is signed.
    status->current = words[2];
    status->remaining_capacity = words[3];
    status->full_charge_capacity = words[4];
    return 0;
}
