// The battery backup unit's routes: its LEDs and charge switches on a GPIO expander ("BBU_GPIO"
// of "System IO"), its state from the fuel gauge ("BBU_GAUGE"). The expander's register 1 is the
// output latch and register 3 the direction (a clear bit drives the pin).
#include <cstdint>

#include "nashal/comm_model.h"
#include "nashal/i2c_sys.h"
#include "nashal/se_bbu.h"
#include "topology/model_file.h"

namespace {

constexpr int kOutput = 1;
constexpr int kDirection = 3;
constexpr int kLedBits = 0x03;
constexpr int kChargeBit = 0x04;
constexpr int kDischargeBit = 0x08;

// The address of a "System IO" key, read once per caller into `cache` (0 = not read yet).
int bbu_address(const char *key, int &cache) {
    if (cache != 0)
        return cache;
    char value[32] = {};
    int32_t addr = 0;
    if (!nashal::topology::model_text("System IO", key, value) ||
        comm_sys_parse_c_i2c(value, &addr) < 0)
        return -1;
    cache = addr;
    return addr;
}

int update(int addr, int reg, int clear, int set) {
    int value = i2c_sys_get_bbu_gpio(addr, reg);
    return i2c_sys_set_bbu_gpio(addr, reg, (value & ~clear) | set);
}

// Both switches driven and open; then the one asked for closed.
int switch_charge(int addr, int bit, int enable) {
    if (update(addr, kDirection, kChargeBit | kDischargeBit, 0) < 0 ||
        update(addr, kOutput, kChargeBit | kDischargeBit, 0) < 0)
        return -1;
    return enable ? update(addr, kOutput, 0, bit) : 0;
}

}  // namespace

extern "C" int se_sys_set_bbu_status_led(int colour, int index, int enable) {
    static int address = 0;
    int addr = bbu_address("BBU_GPIO", address);
    if (addr < 0 || index != 0)
        return -1;
    // Both LED pins driven, both off (the LEDs light on a low pin).
    if (update(addr, kDirection, kLedBits, 0) < 0 || update(addr, kOutput, 0, kLedBits) < 0)
        return -1;
    if (!enable)
        return 0;
    int bits = colour == 0 ? 2 : colour == 1 ? 1 : colour == 2 ? 0 : -1;
    if (bits < 0)
        return -1;
    return update(addr, kOutput, kLedBits, bits);
}

extern "C" int se_sys_enable_bbu_charge(int enable) {
    static int address = 0;
    int addr = bbu_address("BBU_GPIO", address);
    return addr < 0 ? -1 : switch_charge(addr, kChargeBit, enable);
}

extern "C" int se_sys_enable_bbu_discharge(int enable) {
    static int address = 0;
    int addr = bbu_address("BBU_GPIO", address);
    return addr < 0 ? -1 : switch_charge(addr, kDischargeBit, enable);
}

extern "C" int se_sys_get_bbu_status(BBU_STATUS *status) {
    static int address = 0;
    int addr = bbu_address("BBU_GAUGE", address);
    return addr < 0 ? -1 : i2c_sys_get_bbu_status(addr, status);
}
