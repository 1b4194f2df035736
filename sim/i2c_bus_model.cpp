#include "sim/i2c_bus_model.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "sim/devices.h"
#include "sim/fs.h"

namespace nashal::sim {

namespace {

std::map<int, std::unique_ptr<I2cBusModel>> &buses() {
    static std::map<int, std::unique_ptr<I2cBusModel>> all;
    return all;
}

// "key value" lines; values in any base strtol reads.
std::map<std::string, long> read_values(const std::string &file) {
    std::map<std::string, long> values;
    for (const DescriptionEntry &e : read_description(file, 2))
        values[e[0]] = std::strtol(e[1].c_str(), nullptr, 0);
    return values;
}

long value_or(const std::map<std::string, long> &values, const std::string &key, long fallback) {
    auto it = values.find(key);
    return it == values.end() ? fallback : it->second;
}

struct WordKey {
    uint8_t command;
    const char *key;
};

// The word a chip answers for `command`, from the description's key for it; false (a NAK) for a
// command the chip doesn't have.
template <size_t N>
bool described_word(const std::string &file, const WordKey (&keys)[N], uint8_t command,
                    uint16_t &value) {
    for (const WordKey &k : keys) {
        if (k.command == command) {
            value = static_cast<uint16_t>(value_or(read_values(file), k.key, 0));
            return true;
        }
    }
    return false;
}

// Bytes of a file at an offset, read and written in place (other processes share the file).
bool file_byte(const std::string &file, long at, uint8_t &value, bool write) {
    int fd = ::open(file.c_str(), write ? (O_RDWR | O_CREAT) : O_RDONLY, 0644);
    if (fd < 0) {
        if (write)
            return false;
        value = 0xff;
        return true;
    }
    bool ok = true;
    if (write) {
        ok = pwrite(fd, &value, 1, at) == 1;
    } else if (pread(fd, &value, 1, at) != 1) {
        value = 0xff;
    }
    ::close(fd);
    return ok;
}

class EepromPage : public I2cDevice {
  public:
    EepromPage(std::string file, int page, bool writable)
        : file_(std::move(file)), base_(page * 256L), writable_(writable) {}
    bool read_byte_data(uint8_t command, uint8_t &value) override {
        return file_byte(file_, base_ + command, value, false);
    }
    bool write_byte_data(uint8_t command, uint8_t value) override {
        // A write-protected part acknowledges and keeps its contents.
        return !writable_ || file_byte(file_, base_ + command, value, true);
    }

  private:
    std::string file_;
    long base_;
    bool writable_;
};

class PmbusSupply : public I2cDevice {
  public:
    explicit PmbusSupply(std::string file) : file_(std::move(file)) {}
    bool read_byte_data(uint8_t, uint8_t &) override { return false; }
    bool write_byte_data(uint8_t, uint8_t) override { return false; }
    bool read_word_data(uint8_t command, uint16_t &value) override {
        static const WordKey kWords[] = {{0x79, "status"}, {0x8D, "temperature"}, {0x90, "fan"}};
        // A pulled supply doesn't answer.
        return exists(file_) && described_word(file_, kWords, command, value);
    }

  private:
    std::string file_;
};

class RegisterChip : public I2cDevice {
  public:
    explicit RegisterChip(std::string file) : file_(std::move(file)) {}
    bool read_byte_data(uint8_t command, uint8_t &value) override {
        file_byte(file_, command, value, false);
        if (value == 0xff && !exists(file_))
            value = 0;
        return true;
    }
    bool write_byte_data(uint8_t command, uint8_t value) override {
        ensure_file();
        return file_byte(file_, command, value, true);
    }
    bool send_byte(uint8_t value) override {
        char line[8];
        snprintf(line, sizeof line, "%02x\n", value);
        append_file(file_ + ".sent", line);
        return true;
    }

  protected:
    void ensure_file() {
        if (!exists(file_))
            write_file(file_, std::string(256, '\0'));
    }
    std::string file_;
};

class Nct7802Monitor : public RegisterChip {
  public:
    explicit Nct7802Monitor(std::string file)
        : RegisterChip(file + ".regs"), description_(std::move(file)) {}
    bool read_byte_data(uint8_t command, uint8_t &value) override {
        auto values = read_values(description_);
        if (command == 0xFD) {
            value = static_cast<uint8_t>(value_or(values, "vendor", 0x50));
            return true;
        }
        // Temperature readings: remote diodes 1-3 and the local sensor, as the raw register
        // byte the description gives; an undescribed one reads what was last written.
        static const char *const kTemps[] = {"temp1", "temp2", "temp3", "temp_local"};
        if (command >= 0x01 && command <= 0x04) {
            auto it = values.find(kTemps[command - 1]);
            if (it != values.end()) {
                value = static_cast<uint8_t>(it->second);
                return true;
            }
        }
        if (command >= 0x10 && command <= 0x13) {
            uint8_t gpio = 0;
            RegisterChip::read_byte_data(0x59, gpio);
            int first = (gpio & 0x02) ? 1 : 4;
            // The low bits register belongs to the fan whose high bits were read last, as
            // the chip latches it.
            if (command != 0x13)
                latched_ = count_of(values, first + command - 0x10);
            value = command == 0x13 ? static_cast<uint8_t>((latched_ & 0x1F) << 3)
                                    : static_cast<uint8_t>(latched_ >> 5);
            return true;
        }
        return RegisterChip::read_byte_data(command, value);
    }

  private:
    static int count_of(const std::map<std::string, long> &values, int fan) {
        long rpm = value_or(values, "fan" + std::to_string(fan), 0);
        // No pulses: the counter runs to full scale.
        if (rpm <= 0)
            return 0x1FFF;
        long count = 1350000 / rpm;
        return static_cast<int>(count > 0x1FFF ? 0x1FFF : count);
    }
    std::string description_;
    int latched_ = 0x1FFF;
};

class BatteryGauge : public I2cDevice {
  public:
    explicit BatteryGauge(std::string file) : file_(std::move(file)) {}
    bool read_byte_data(uint8_t command, uint8_t &value) override {
        if (command != 0)
            return false;
        value =
            access_ == 6 ? static_cast<uint8_t>(value_or(read_values(file_), "status", 0x0A)) : 0;
        return true;
    }
    bool write_byte_data(uint8_t, uint8_t) override { return false; }
    bool write_word_data(uint8_t command, uint16_t value) override {
        if (command != 0)
            return false;
        access_ = value;
        return true;
    }
    bool read_word_data(uint8_t command, uint16_t &value) override {
        static const WordKey kWords[] = {{0x08, "temperature"},
                                         {0x09, "voltage"},
                                         {0x0A, "current"},
                                         {0x0F, "remaining"},
                                         {0x10, "full"}};
        return described_word(file_, kWords, command, value);
    }

  private:
    std::string file_;
    uint16_t access_ = 0;
};

}  // namespace

bool I2cDevice::read_word_data(uint8_t command, uint16_t &value) {
    uint8_t low = 0, high = 0;
    if (!read_byte_data(command, low) || !read_byte_data(static_cast<uint8_t>(command + 1), high))
        return false;
    value = static_cast<uint16_t>(low | (high << 8));
    return true;
}

bool I2cDevice::write_word_data(uint8_t command, uint16_t value) {
    return write_byte_data(command, static_cast<uint8_t>(value)) &&
           write_byte_data(static_cast<uint8_t>(command + 1), static_cast<uint8_t>(value >> 8));
}

bool I2cDevice::send_byte(uint8_t) {
    return false;
}

void I2cBusModel::attach(uint8_t addr, std::shared_ptr<I2cDevice> device) {
    devices_[addr] = std::move(device);
}

void I2cBusModel::detach(uint8_t addr) {
    devices_.erase(addr);
}

I2cDevice *I2cBusModel::device(uint8_t addr) const {
    auto it = devices_.find(addr);
    return it == devices_.end() ? nullptr : it->second.get();
}

int I2cBusModel::ioctl(int fd, unsigned long request, void *arg) {
    if (request == I2C_SLAVE || request == I2C_SLAVE_FORCE) {
        auto addr = reinterpret_cast<unsigned long>(arg);
        if (addr > 0x7F) {
            errno = EINVAL;
            return -1;
        }
        selected_[fd] = static_cast<uint8_t>(addr);
        return 0;
    }
    if (request == I2C_FUNCS) {
        *static_cast<unsigned long *>(arg) = I2C_FUNC_I2C | I2C_FUNC_SMBUS_BYTE |
                                             I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA;
        return 0;
    }
    if (request != I2C_SMBUS) {
        errno = ENOTTY;
        return -1;
    }
    auto *data = static_cast<struct i2c_smbus_ioctl_data *>(arg);
    auto sel = selected_.find(fd);
    I2cDevice *dev = sel == selected_.end() ? nullptr : device(sel->second);
    bool read = data->read_write == I2C_SMBUS_READ;
    bool acked = false;
    if (dev) {
        switch (data->size) {
            case I2C_SMBUS_QUICK:
                acked = true;
                break;
            case I2C_SMBUS_BYTE:
                acked = !read && dev->send_byte(data->command);
                break;
            case I2C_SMBUS_BYTE_DATA:
                if (!data->data)
                    break;
                acked = read ? dev->read_byte_data(data->command, data->data->byte)
                             : dev->write_byte_data(data->command, data->data->byte);
                break;
            case I2C_SMBUS_WORD_DATA:
                if (!data->data)
                    break;
                acked = read ? dev->read_word_data(data->command, data->data->word)
                             : dev->write_word_data(data->command, data->data->word);
                break;
            default:
                errno = EOPNOTSUPP;
                return -1;
        }
    }
    if (!acked) {
        errno = ENXIO;
        return -1;
    }
    return 0;
}

std::shared_ptr<I2cDevice> eeprom_page(const std::string &file, int page, bool writable) {
    return std::make_shared<EepromPage>(file, page, writable);
}

std::shared_ptr<I2cDevice> pmbus_supply(const std::string &file) {
    return std::make_shared<PmbusSupply>(file);
}

std::shared_ptr<I2cDevice> nct7802_monitor(const std::string &file) {
    return std::make_shared<Nct7802Monitor>(file);
}

std::shared_ptr<I2cDevice> battery_gauge(const std::string &file) {
    return std::make_shared<BatteryGauge>(file);
}

std::shared_ptr<I2cDevice> register_chip(const std::string &file) {
    return std::make_shared<RegisterChip>(file);
}

I2cBusModel &attach_i2c_bus(int bus) {
    auto &slot = buses()[bus];
    if (!slot)
        slot = std::make_unique<I2cBusModel>();
    std::string node = "/dev/i2c-" + std::to_string(bus);
    if (!exists(node))
        write_file(node, "");
    I2cBusModel *model = slot.get();
    register_ioctl_device(node, [model](int fd, unsigned long request, void *arg) {
        return model->ioctl(fd, request, arg);
    });
    return *model;
}

int attach_described_i2c() {
    buses().clear();
    const std::string conf = "/sim/i2c.conf";
    if (!exists(conf))
        return 0;
    int attached = 0;
    for (const DescriptionEntry &e : read_description(conf, 3)) {
        const std::string &bus_name = e[0], &kind = e[2];
        const std::string file = e.size() > 3 ? e[3] : "";
        if (bus_name.rfind("i2c-", 0) != 0)
            continue;
        int bus = std::atoi(bus_name.c_str() + 4);
        auto addr = static_cast<uint8_t>(hex_word(e[1]));
        I2cBusModel &model = attach_i2c_bus(bus);
        if (kind == "bus")
            continue;
        if (kind == "rom") {
            model.attach(addr, eeprom_page(file, 0));
            model.attach(static_cast<uint8_t>(addr + 1), eeprom_page(file, 1));
        } else if (kind == "edid") {
            model.attach(addr, eeprom_page(file, 0, false));
        } else if (kind == "pmbus") {
            model.attach(addr, pmbus_supply(file));
        } else if (kind == "nct7802") {
            model.attach(addr, nct7802_monitor(file));
        } else if (kind == "gauge") {
            model.attach(addr, battery_gauge(file));
        } else if (kind == "registers") {
            model.attach(addr, register_chip(file));
        } else {
            fprintf(stderr, "virtual appliance: %s: unknown I2C device kind %s\n", conf.c_str(),
                    kind.c_str());
            continue;
        }
        ++attached;
    }
    return attached;
}

}  // namespace nashal::sim
