// I2C buses of the virtual appliance. Each bus answers the i2c-dev ioctls on its node
// "/dev/i2c-N": I2C_SLAVE picks the device for the descriptor, I2C_SMBUS carries one SMBus
// transaction to it, and an address with no device NAKs (ENXIO), as the adapter reports it.
// Devices keep what must outlive a process (ROM contents, a supply's state) in files under
// /sim, read afresh on every transfer, so that a test or a second process sees each change.
#ifndef NASHAL_SIM_I2C_BUS_MODEL_H
#define NASHAL_SIM_I2C_BUS_MODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace nashal::sim {

// One chip on a bus. Each transaction returns false for a NAK.
class I2cDevice {
  public:
    virtual ~I2cDevice() = default;
    virtual bool read_byte_data(uint8_t command, uint8_t &value) = 0;
    virtual bool write_byte_data(uint8_t command, uint8_t value) = 0;
    virtual bool read_word_data(uint8_t command, uint16_t &value);
    virtual bool write_word_data(uint8_t command, uint16_t value);
    // SMBus "send byte": the value travels in the command field.
    virtual bool send_byte(uint8_t value);
};

class I2cBusModel {
  public:
    void attach(uint8_t addr, std::shared_ptr<I2cDevice> device);
    void detach(uint8_t addr);
    I2cDevice *device(uint8_t addr) const;
    int ioctl(int fd, unsigned long request, void *arg);

  private:
    std::map<uint8_t, std::shared_ptr<I2cDevice>> devices_;
    std::map<int, uint8_t> selected_;
};

// A 24C02-style 256-byte EEPROM page; `page` 0 or 1 of a 512-byte image in `file` (a ROM of
// two pages answers at addr and addr + 1). Missing bytes of the file read as 0xff, as a blank
// part does. Writes go to the file at once.
std::shared_ptr<I2cDevice> eeprom_page(const std::string &file, int page, bool writable = true);

// A PMBus power supply whose words live in `file` ("status 0x0000", "temperature 0x00c8",
// "fan 0x1864"; hexadecimal words of STATUS_WORD, READ_TEMPERATURE_1, READ_FAN_SPEED_1).
std::shared_ptr<I2cDevice> pmbus_supply(const std::string &file);

// The NCT7802Y fan monitor. `file` gives "vendor 0x50" (its id register) and "fanN RPM" for
// fans 1 to 6; fans 1-3 or 4-6 reach the tachometer inputs as its GPIO2 output selects (set:
// 1 to 3); "temp1" to "temp3" and "temp_local" are the raw bytes of temperature registers 0x01
// to 0x04. Registers written by the library are kept in "<file>.regs" (256 bytes).
std::shared_ptr<I2cDevice> nct7802_monitor(const std::string &file);

// A smart-battery fuel gauge: "status 0x0a" (answer to ManufacturerAccess 6), "temperature"
// (0.1 K), "voltage", "current", "remaining", "full" as decimal words.
std::shared_ptr<I2cDevice> battery_gauge(const std::string &file);

// A plain register chip (GPIO expander, LED controller): 256 registers in `file`, each send
// byte appended to "<file>.sent" as two hexadecimal digits and a newline.
std::shared_ptr<I2cDevice> register_chip(const std::string &file);

// The bus "/dev/i2c-N", made and registered on the seam on first use; its node file is created
// when the appliance lacks it.
I2cBusModel &attach_i2c_bus(int bus);

// Builds the buses that /sim/i2c.conf describes (see docs/virtual-appliance.md). Returns the
// number of devices attached.
int attach_described_i2c();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_I2C_BUS_MODEL_H
