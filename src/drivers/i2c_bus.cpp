// The I2C lock, the SMBus primitives and the byte-wise transfers that the ROMs and the EDID use.
#include "drivers/i2c_bus.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <unistd.h>

#include <cstdio>

#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "os/os_seam.h"

static_assert(nashal::drivers::kI2cSlave == I2C_SLAVE, "i2c-dev request");
static_assert(nashal::drivers::kI2cSmbus == I2C_SMBUS, "i2c-dev request");

namespace nashal::drivers {

namespace {

int smbus_access(int fd, uint8_t read_write, uint8_t command, uint32_t size,
                 union i2c_smbus_data *data) {
    struct i2c_smbus_ioctl_data request = {};
    request.read_write = read_write;
    request.command = command;
    request.size = size;
    request.data = data;
    return os_ioctl(fd, I2C_SMBUS, &request);
}

// A failed byte is tried again this many times in all before the transfer gives up.
constexpr int kByteAttempts = 1025;

}  // namespace

int smbus_send_byte(int fd, uint8_t value) {
    return smbus_access(fd, I2C_SMBUS_WRITE, value, I2C_SMBUS_BYTE, nullptr);
}

int smbus_read_byte_data(int fd, uint8_t command) {
    union i2c_smbus_data data = {};
    if (smbus_access(fd, I2C_SMBUS_READ, command, I2C_SMBUS_BYTE_DATA, &data) < 0)
        return -1;
    return data.byte;
}

int smbus_write_byte_data(int fd, uint8_t command, uint8_t value) {
    union i2c_smbus_data data = {};
    data.byte = value;
    return smbus_access(fd, I2C_SMBUS_WRITE, command, I2C_SMBUS_BYTE_DATA, &data);
}

int smbus_read_word_data(int fd, uint8_t command) {
    union i2c_smbus_data data = {};
    if (smbus_access(fd, I2C_SMBUS_READ, command, I2C_SMBUS_WORD_DATA, &data) < 0)
        return -1;
    return data.word;
}

int smbus_write_word_data(int fd, uint8_t command, uint16_t value) {
    union i2c_smbus_data data = {};
    data.word = value;
    return smbus_access(fd, I2C_SMBUS_WRITE, command, I2C_SMBUS_WORD_DATA, &data);
}

int i2c_select(int fd, int addr) {
    return os_ioctl(fd, I2C_SLAVE, reinterpret_cast<void *>(static_cast<long>(addr))) < 0 ? -1 : 0;
}

bool i2c_adapter_present() {
    static int present = -1;
    if (present < 0) {
        FileDescriptor fd(open(kI2cBus0, O_RDWR));
        present = fd.valid() ? 1 : 0;
    }
    return present == 1;
}

void i2c_bus_path(int bus, char *path, int size) {
    snprintf(path, static_cast<size_t>(size), "/dev/i2c-%d", bus);
}

I2cCall::I2cCall(const char *who, Adapter adapter) : lock_(who, I2C_LOCK_KEY) {
    ok_ = lock_.held() && (adapter == kSkipAdapterCheck || i2c_adapter_present());
}

I2cCall::I2cCall(const char *who, const char *bus_path, int addr, Adapter adapter)
    : I2cCall(who, adapter) {
    if (ok_)
        open_device(bus_path, addr);
}

bool I2cCall::open_device(const char *bus_path, int addr) {
    // The descriptor is closed on every path, a failed selection included: a process that
    // polls a missing device must not run out of descriptors.
    fd_.reset(ok_ ? open(bus_path, O_RDWR) : -1);
    ok_ = fd_.valid() && i2c_select(fd_.get(), addr) == 0;
    return ok_;
}

}  // namespace nashal::drivers

using namespace nashal::drivers;

extern "C" int acquire_i2c_lock(int key, int *semid) {
    return nashal::sysv_lock_acquire(__func__, key, semid);
}

extern "C" int release_i2c_lock(int semid) {
    return nashal::sysv_lock_release(semid);
}

namespace {

// One byte transfer per byte of the range, each tried up to kByteAttempts times. `byte_op`
// moves byte i and gives a negative result on failure; reads wait a microsecond between tries,
// writes don't. The highest number of tries any byte needed is traced on success.
template <typename ByteOp>
int transfer_bytes(const char *who, int fd, int addr, int length, bool pause, const char *verb,
                   ByteOp byte_op) {
    if (i2c_select(fd, addr) < 0) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Erorr\n", who, __LINE__);
        return -1;
    }
    int most = 0;
    for (int i = 0; i < length; ++i) {
        int attempt = 0;
        int result = -1;
        while (attempt < kByteAttempts && result < 0) {
            ++attempt;
            result = byte_op(i);
            if (result < 0 && pause)
                os_usleep(1);
        }
        if (result < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): System Internal Erorr,i = %d,retry = %d\n", who,
                      __LINE__, i, attempt);
            return -1;
        }
        if (attempt > most)
            most = attempt;
    }
    ERR_TRACE(HAL_TRACE_DETAIL, "%s(%d): Max. %s try = %d OK\n", who, __LINE__, verb, most);
    return 0;
}

}  // namespace

extern "C" int i2c_read(int fd, int addr, int offset, int length, uint8_t *buffer) {
    return transfer_bytes(__func__, fd, addr, length, true, "read", [&](int i) {
        int value = smbus_read_byte_data(fd, static_cast<uint8_t>((offset + i) % 256));
        if (value >= 0)
            buffer[i] = static_cast<uint8_t>(value);
        return value;
    });
}

extern "C" int i2c_write(int fd, int addr, int offset, const uint8_t *buffer, int length) {
    return transfer_bytes(__func__, fd, addr, length, false, "write", [&](int i) {
        return smbus_write_byte_data(fd, static_cast<uint8_t>((offset + i) % 256), buffer[i]);
    });
}
