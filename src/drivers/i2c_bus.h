// What every I2C service call shares: the SMBus primitives on an open bus, the one-time check
// that the system has an adapter at all, and the shape of a call (lock, open, select, act,
// close, release) as one scoped object.
#ifndef NASHAL_DRIVERS_I2C_BUS_H
#define NASHAL_DRIVERS_I2C_BUS_H

#include <cstdint>

#include "foundation/raii.h"
#include "foundation/sysv_lock.h"

namespace nashal::drivers {

constexpr const char *kI2cBus0 = "/dev/i2c-0";

// The ioctl requests of i2c-dev, kept here so that the emulator and the library name them once.
constexpr unsigned long kI2cSlave = 0x0703;
constexpr unsigned long kI2cSmbus = 0x0720;

// SMBus primitives. Reads give the byte or word, -1 on failure; writes give the ioctl's result.
int smbus_send_byte(int fd, uint8_t value);
int smbus_read_byte_data(int fd, uint8_t command);
int smbus_write_byte_data(int fd, uint8_t command, uint8_t value);
int smbus_read_word_data(int fd, uint8_t command);
int smbus_write_word_data(int fd, uint8_t command, uint16_t value);
// I2C_SLAVE: 0 or -1.
int i2c_select(int fd, int addr);

// Whether "/dev/i2c-0" could be opened; asked once per process.
bool i2c_adapter_present();

// "/dev/i2c-%d" of a bus number into path (at least 32 bytes).
void i2c_bus_path(int bus, char *path, int size);

// One service call: takes the I2C lock, checks the adapter (unless told not to), opens the bus
// read-write and selects the device. ok() is true only when all of that worked; the descriptor
// is closed and the lock released when the call ends, in that order.
class I2cCall {
  public:
    enum Adapter { kCheckAdapter, kSkipAdapterCheck };
    I2cCall(const char *who, const char *bus_path, int addr, Adapter adapter = kCheckAdapter);
    // Only the lock and the adapter check; the caller opens what it needs.
    I2cCall(const char *who, Adapter adapter = kCheckAdapter);
    // Opens the bus and selects the device, after checks that needed the lock first.
    bool open_device(const char *bus_path, int addr);
    bool ok() const { return ok_; }
    bool locked() const { return lock_.held(); }
    int fd() const { return fd_.get(); }

  private:
    SysvLock lock_;
    bool ok_ = false;
    FileDescriptor fd_;
};

}  // namespace nashal::drivers

#endif  // NASHAL_DRIVERS_I2C_BUS_H
