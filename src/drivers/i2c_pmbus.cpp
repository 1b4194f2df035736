// The redundant power supplies, read over PMBus. The supplies share bus 0 with the rest of the
// board only while a Super I/O pin switches it over to them, for the length of one call.
#include <climits>
#include <cmath>
#include <cstdio>

#include "drivers/i2c_bus.h"
#include "nashal/sio_sys.h"
#include "nashal/comm_model.h"
#include "nashal/i2c_sys.h"
#include "topology/model_file.h"

using namespace nashal::drivers;

namespace {

// Standard PMBus word registers.
constexpr uint8_t kStatusWord = 0x79;
constexpr uint8_t kReadTemperature1 = 0x8D;
constexpr uint8_t kReadFanSpeed1 = 0x90;
// STATUS_WORD bit 6: the unit is off.
constexpr int kStatusOff = 1 << 6;

constexpr int kSupplies = 2;

// The address of supply n from the model file, kept in `cache` (0 = not read yet). Supplies
// beyond the model's two are looked up every time and never cached.
int supply_address(int supply, int (&cache)[kSupplies + 1]) {
    bool cacheable = supply >= 0 && supply <= kSupplies;
    if (cacheable && cache[supply] != 0)
        return cache[supply];
    char key[40];
    snprintf(key, sizeof key, "%s_%d", "REDUNDANT_POWER", supply);
    char value[32] = {};
    int32_t addr = 0;
    if (!nashal::topology::model_text("System IO", key, value) ||
        comm_sys_parse_c_i2c(value, &addr) < 0)
        return -1;
    if (cacheable)
        cache[supply] = addr;
    return addr;
}

// One supply read: lock, adapter, bus switched to the supplies, device selected. The switch is
// set back before the lock is given up, whatever happened in between.
class PmbusCall {
  public:
    PmbusCall(const char *who, int addr) : call_(who) {
        if (!call_.ok())
            return;
        switched_ = true;
        sio_sys_enable_pmbus_locked(1);
        call_.open_device(kI2cBus0, addr);
    }
    ~PmbusCall() {
        if (switched_)
            sio_sys_enable_pmbus_locked(0);
    }
    PmbusCall(const PmbusCall &) = delete;
    PmbusCall &operator=(const PmbusCall &) = delete;
    bool ok() const { return call_.ok(); }
    int fd() const { return call_.fd(); }

  private:
    I2cCall call_;
    bool switched_ = false;
};

// One supply read: its address, the switched bus, STATUS_WORD; then `act(fd, status)` for the
// rest. -1 when any of the shared steps fails.
template <typename Act>
int supply_call(const char *who, int supply, int (&cache)[kSupplies + 1], Act act) {
    int addr = supply_address(supply, cache);
    if (addr < 0)
        return -1;
    PmbusCall call(who, addr);
    if (!call.ok())
        return -1;
    int status = smbus_read_word_data(call.fd(), kStatusWord);
    if (status < 0)
        return -1;
    return act(call.fd(), status);
}

}  // namespace

extern "C" int i2c_sys_read_pmbus_status(int supply, int *status) {
    static int cache[kSupplies + 1];
    if (!status)
        return -1;
    *status = -1;
    return supply_call(__func__, supply, cache, [&](int, int word) {
        *status = (word & kStatusOff) ? -1 : 0;
        return 0;
    });
}

extern "C" int i2c_sys_read_pmbus_power_temp(int supply, double *temperature) {
    static int cache[kSupplies + 1];
    if (!temperature)
        return -1;
    return supply_call(__func__, supply, cache, [&](int fd, int status) {
        if (status & kStatusOff)
            return -1;
        int word = smbus_read_word_data(fd, kReadTemperature1);
        if (word < 0)
            return -1;
        // Whole degrees in the low ten bits, in quarters, kept as a signed byte.
        int8_t degrees = static_cast<int8_t>((word & 0x3FF) / 4);
        if (degrees >= 101)
            return -1;
        *temperature = degrees;
        return 0;
    });
}

extern "C" int i2c_sys_read_pmbus_power_fan(int supply, int *rpm, int *fail) {
    static int cache[kSupplies + 1];
    if (!rpm || !fail)
        return -1;
    return supply_call(__func__, supply, cache, [&](int fd, int status) {
        if (status & kStatusOff) {
            *fail = 1;
            return 0;
        }
        int word = smbus_read_word_data(fd, kReadFanSpeed1);
        if (word < 0)
            return -1;
        // Mantissa in the low ten bits, the exponent as the top five bits read unsigned. A
        // large exponent would overflow an int; the speed is then held at the largest one.
        double speed = (word & 0x3FF) * std::ldexp(1.0, (word & 0xFFFF) >> 11);
        *rpm = speed >= INT_MAX ? INT_MAX : static_cast<int>(speed);
        if (*rpm == 0)
            *fail = 1;
        return 0;
    });
}
