// The I2C service calls against emulated chips: the ROM page split, retries and NAKs, the bus
// lock between processes, the power supplies, the fan monitor and the battery gauge. A wrong
// answer here is a unit that reports a dead supply as healthy, a stopped fan as spinning, or
// a ROM written half by one process and half by another.
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "nashal/hal_trace.h"
#include "nashal/i2c_sys.h"
#include "nashal/se_bbu.h"
#include "sim/appliance.h"
#include "sim/fs.h"
#include "sim/i2c_bus_model.h"

using namespace nashal::sim;

namespace {

// A chip that records every byte access and NAKs the first `naks` of them.
class RecordingChip : public I2cDevice {
  public:
    explicit RecordingChip(int naks = 0) : naks_(naks) {}
    bool read_byte_data(uint8_t command, uint8_t &value) override {
        if (naks_ > 0) {
            --naks_;
            return false;
        }
        reads.push_back(command);
        value = static_cast<uint8_t>(command ^ 0x5A);
        return true;
    }
    bool write_byte_data(uint8_t command, uint8_t value) override {
        if (naks_ > 0) {
            --naks_;
            return false;
        }
        writes.push_back({command, value});
        return true;
    }
    std::vector<uint8_t> reads;
    std::vector<std::pair<uint8_t, uint8_t>> writes;

  private:
    int naks_;
};

class I2cDevices : public ::testing::Test {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf",
                   "[System Enclosure]\nMAX_DISK_NUM = 4\n"
                   "[System IO]\nREDUNDANT_POWER_1 = I2C:58\nREDUNDANT_POWER_2 = I2C:59\n"
                   "FULL_LOCATE_LED = I2C:60:00:01:02:03:04:05:06\n"
                   "[System FAN]\nFAN_UNIT = I2C:2C\n"
                   "[System Disk 2]\nLOCATE_ENCLOSURE_LED = I2C:61:A1:A0\n");
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
    }
    std::string log() const { return read_file("/var/log/hal_lib.log"); }

    Appliance app_ = Appliance::fresh();
};

std::string rom_bytes(const std::string &file, size_t at, size_t count) {
    return read_file(file).substr(at, count);
}

}  // namespace

TEST_F(I2cDevices, RomTransfersCrossFromTheFirstPageIntoTheSecond) {
    I2cBusModel &bus = attach_i2c_bus(0);
    write_file("/sim/rom.bin", std::string(512, '\0'));
    bus.attach(0x54, eeprom_page("/sim/rom.bin", 0));
    bus.attach(0x55, eeprom_page("/sim/rom.bin", 1));

    struct Case {
        int offset, length;
    } cases[] = {{250, 20}, {256, 5}, {0, 256}, {511, 1}, {100, 10}};
    for (const Case &c : cases) {
        std::vector<uint8_t> data(static_cast<size_t>(c.length));
        for (int i = 0; i < c.length; ++i)
            data[static_cast<size_t>(i)] = static_cast<uint8_t>(c.offset + i + 1);
        ASSERT_EQ(i2c_sys_write_vpd(0x54, c.offset, data.data(), c.length), 0) << c.offset;
        // The image file is the two pages side by side: byte n of the ROM is byte n of the file.
        EXPECT_EQ(
            rom_bytes("/sim/rom.bin", static_cast<size_t>(c.offset), static_cast<size_t>(c.length)),
            std::string(data.begin(), data.end()))
            << c.offset;
        std::vector<uint8_t> back(static_cast<size_t>(c.length) + 4, 0xEE);
        EXPECT_EQ(i2c_sys_read_vpd(0x54, c.offset, c.length, back.data(), c.length + 4), c.length);
        EXPECT_TRUE(std::equal(data.begin(), data.end(), back.begin())) << c.offset;
        EXPECT_EQ(back[static_cast<size_t>(c.length)], 0xEE) << "read past the length";
    }
}

TEST_F(I2cDevices, RomRequestsBeyondTheRomOrTheBufferNeverReachTheBus) {
    I2cBusModel &bus = attach_i2c_bus(0);
    auto first = std::make_shared<RecordingChip>();
    auto second = std::make_shared<RecordingChip>();
    bus.attach(0x54, first);
    bus.attach(0x55, second);
    uint8_t buffer[32] = {};
    EXPECT_EQ(i2c_sys_read_vpd(0x54, 500, 13, buffer, sizeof buffer), 0);
    EXPECT_EQ(i2c_sys_read_vpd(0x54, 0, 20, buffer, 19), 0);
    EXPECT_EQ(i2c_sys_write_vpd(0x54, 505, buffer, 8), -1);
    EXPECT_TRUE(first->reads.empty() && second->reads.empty() && second->writes.empty());

    // Offset 250, length 20: 6 bytes from the first page, 14 from the second from 0.
    EXPECT_EQ(i2c_sys_read_vpd(0x54, 250, 20, buffer, sizeof buffer), 20);
    EXPECT_EQ(first->reads, (std::vector<uint8_t>{250, 251, 252, 253, 254, 255}));
    ASSERT_EQ(second->reads.size(), 14u);
    EXPECT_EQ(second->reads.front(), 0);
    EXPECT_EQ(buffer[6], 0x00 ^ 0x5A);
}

TEST_F(I2cDevices, AByteIsRetriedUntilTheChipAnswersAndGivenUpAfter1025Tries) {
    struct Case {
        int naks;
        int result;
    } cases[] = {{0, 1}, {1024, 1}, {1025, 0}};
    for (const Case &c : cases) {
        I2cBusModel &bus = attach_i2c_bus(0);
        bus.attach(0x54, std::make_shared<RecordingChip>(c.naks));
        bus.attach(0x55, std::make_shared<RecordingChip>());
        uint8_t byte = 0;
        EXPECT_EQ(i2c_sys_read_vpd(0x54, 7, 1, &byte, 1), c.result) << c.naks;
    }
    EXPECT_NE(log().find("System Internal Erorr,i = 0,retry = 1025"), std::string::npos) << log();
}

TEST_F(I2cDevices, AbsentDevicesAndAbsentBusesFailWithoutBlocking) {
    attach_i2c_bus(0);
    uint8_t buffer[4] = {};
    // Nothing at the address: the adapter NAKs every try.
    EXPECT_EQ(i2c_sys_read_vpd(0x50, 0, 4, buffer, 4), 0);
    EXPECT_EQ(i2c_sys_send_byte(0x40, 1), -1);
    EXPECT_EQ(i2c_sys_dev_read_byte_data(0, 0x40, 0), -1);
    // No /dev/i2c-7 at all.
    EXPECT_EQ(i2c_sys_dev_write_byte_data(7, 0x40, 0, 1), -1);
    EXPECT_EQ(i2c_sys_read_edid(7, 0x50, 128, buffer), -1);
    // The lock was given back every time: a later call on a present chip works.
    attach_i2c_bus(0).attach(0x40, register_chip("/sim/chip.regs"));
    EXPECT_EQ(i2c_sys_dev_write_byte_data(0, 0x40, 3, 0x81), 0);
    EXPECT_EQ(i2c_sys_dev_send_byte_data(0, 0x40, 3, 1, 1), 0);
    EXPECT_EQ(i2c_sys_dev_send_byte_data(0, 0x40, 3, 7, 0), 0);
    EXPECT_EQ(i2c_sys_dev_read_byte_data(0, 0x40, 3), 0x03);
}

TEST(I2cWithoutAdapter, EveryCallFailsWhenTheSystemHasNoBusZero) {
    Appliance app = Appliance::fresh();
    ASSERT_TRUE(app.activate());
    uint8_t buffer[4] = {};
    EXPECT_EQ(i2c_sys_read_vpd(0x54, 0, 4, buffer, 4), 0);
    EXPECT_EQ(i2c_sys_write_vpd(0x54, 0, buffer, 4), -1);
    int rpm = 0, fail = 0;
    EXPECT_EQ(i2c_sys_read_fan_speed(1, &rpm, &fail), -1);
    // A bus other than 0 is reached for the EDID even so.
    attach_i2c_bus(3).attach(0x50, eeprom_page("/sim/edid.bin", 0, false));
    write_file("/sim/edid.bin", std::string(256, '\x11'));
    EXPECT_EQ(i2c_sys_read_edid(3, 0x50, 4, buffer), 0);
    EXPECT_EQ(buffer[3], 0x11);
}

TEST_F(I2cDevices, TwoProcessesWritingTheRomNeverInterleave) {
    I2cBusModel &bus = attach_i2c_bus(0);
    write_file("/sim/rom.bin", std::string(512, '\0'));
    bus.attach(0x54, eeprom_page("/sim/rom.bin", 0));
    bus.attach(0x55, eeprom_page("/sim/rom.bin", 1));
    pid_t children[2];
    for (int c = 0; c < 2; ++c) {
        children[c] = fork();
        if (children[c] == 0) {
            std::vector<uint8_t> image(512, static_cast<uint8_t>('A' + c));
            for (int round = 0; round < 6; ++round) {
                if (i2c_sys_write_vpd(0x54, 0, image.data(), 512) != 0)
                    _exit(1);
            }
            _exit(0);
        }
    }
    for (pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::string rom = read_file("/sim/rom.bin");
    ASSERT_EQ(rom.size(), 512u);
    EXPECT_TRUE(rom == std::string(512, 'A') || rom == std::string(512, 'B'))
        << "mixed image: the bus lock did not hold a whole transfer";
}

TEST_F(I2cDevices, PowerSuppliesReportTemperatureFanAndState) {
    I2cBusModel &bus = attach_i2c_bus(0);
    bus.attach(0x58, pmbus_supply("/sim/psu1.conf"));
    bus.attach(0x59, pmbus_supply("/sim/psu2.conf"));
    write_file("/sim/psu1.conf", "status 0x0000\ntemperature 0x00c8\nfan 0x1864\n");
    write_file("/sim/psu2.conf", "status 0x0040\ntemperature 0x00c8\nfan 0x1864\n");

    int status = 7, rpm = 0, fail = 0;
    double temperature = 0;
    EXPECT_EQ(i2c_sys_read_pmbus_status(1, &status), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(i2c_sys_read_pmbus_power_temp(1, &temperature), 0);
    EXPECT_DOUBLE_EQ(temperature, 50.0);
    EXPECT_EQ(i2c_sys_read_pmbus_power_fan(1, &rpm, &fail), 0);
    EXPECT_EQ(rpm, 800);
    EXPECT_EQ(fail, 0);

    // Supply 2 is switched off: unhealthy, no temperature, its fan failed.
    EXPECT_EQ(i2c_sys_read_pmbus_status(2, &status), 0);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(i2c_sys_read_pmbus_power_temp(2, &temperature), -1);
    rpm = 0;
    EXPECT_EQ(i2c_sys_read_pmbus_power_fan(2, &rpm, &fail), 0);
    EXPECT_EQ(fail, 1);

    // Supply 1 overheats, then its fan stops, then it is pulled.
    write_file("/sim/psu1.conf", "status 0x0000\ntemperature 0x0194\nfan 0x1800\n");
    EXPECT_EQ(i2c_sys_read_pmbus_power_temp(1, &temperature), -1);
    fail = 0;
    EXPECT_EQ(i2c_sys_read_pmbus_power_fan(1, &rpm, &fail), 0);
    EXPECT_EQ(fail, 1);
    remove_tree("/sim/psu1.conf");
    status = 0;
    EXPECT_EQ(i2c_sys_read_pmbus_status(1, &status), -1);
    EXPECT_EQ(status, -1);
    // A supply the model doesn't have.
    EXPECT_EQ(i2c_sys_read_pmbus_status(3, &status), -1);
}

TEST_F(I2cDevices, FanSpeedsGoThroughTheMultiplexerAndReportStoppedFans) {
    I2cBusModel &bus = attach_i2c_bus(0);
    bus.attach(0x2C, nct7802_monitor("/sim/fans.conf"));
    write_file("/sim/fans.conf", "vendor 0x50\nfan1 1350\nfan2 0\nfan3 2700\nfan5 900\n");
    struct Case {
        int fan, rpm, fail;
    } cases[] = {{1, 1350, 0}, {3, 2700, 0}, {5, 900, 0}, {2, 0, 0}, {6, 0, 0}};
    for (const Case &c : cases) {
        int rpm = -1, fail = -1;
        ASSERT_EQ(i2c_sys_read_fan_speed(c.fan, &rpm, &fail), 0) << c.fan;
        EXPECT_EQ(rpm, c.rpm) << c.fan;
        EXPECT_EQ(fail, c.fail) << c.fan;
    }
    // Driven but not turning: failed.
    ASSERT_EQ(i2c_sys_set_fan_pwm(1, 0x80), 0);
    std::string regs = read_file("/sim/fans.conf.regs");
    ASSERT_EQ(regs.size(), 256u);
    EXPECT_EQ(static_cast<uint8_t>(regs[0x62]), 0x80);
    EXPECT_EQ(static_cast<uint8_t>(regs[0x5F]) & 0x40, 0x40);
    int rpm = -1, fail = -1;
    ASSERT_EQ(i2c_sys_read_fan_speed(2, &rpm, &fail), 0);
    EXPECT_EQ(fail, 1);
    EXPECT_EQ(i2c_sys_read_fan_speed(7, &rpm, &fail), -1);
}

TEST_F(I2cDevices, AForeignFanMonitorFailsEveryFanCallWithOneTrace) {
    attach_i2c_bus(0).attach(0x2C, nct7802_monitor("/sim/fans.conf"));
    write_file("/sim/fans.conf", "vendor 0x5c\nfan1 1350\n");
    int rpm = 0, fail = 0;
    EXPECT_EQ(i2c_sys_read_fan_speed(1, &rpm, &fail), -1);
    EXPECT_EQ(i2c_sys_read_fan_speed(3, &rpm, &fail), -1);
    EXPECT_EQ(i2c_sys_set_fan_pwm(1, 0x40), -1);
    std::string trace = log();
    size_t first = trace.find("Hwmon vendor ID = 0x5c not support.");
    ASSERT_NE(first, std::string::npos) << trace;
    EXPECT_EQ(trace.find("Hwmon vendor ID", first + 1), std::string::npos);
}

TEST_F(I2cDevices, BatteryGaugeAndExpanderAnswerThroughTheirRegisters) {
    I2cBusModel &bus = attach_i2c_bus(0);
    bus.attach(0x0B, battery_gauge("/sim/bbu.conf"));
    bus.attach(0x20, register_chip("/sim/bbu_gpio.regs"));
    write_file("/sim/bbu.conf",
               "status 0x0a\ntemperature 2981\nvoltage 12150\ncurrent 350\nremaining 1800\n"
               "full 2200\n");
    BBU_STATUS status{};
    ASSERT_EQ(i2c_sys_get_bbu_status(0x0B, &status), 0);
    EXPECT_NEAR(status.temperature, 25.0, 1e-9);
    EXPECT_EQ(status.voltage, 12150);
    EXPECT_EQ(status.current, 350);
    EXPECT_EQ(status.remaining_capacity, 1800);
    EXPECT_EQ(status.full_charge_capacity, 2200);

    EXPECT_EQ(i2c_sys_set_bbu_gpio(0x20, 3, 0xF0), 0);
    EXPECT_EQ(i2c_sys_get_bbu_gpio(0x20, 3), 0xF0);
    EXPECT_EQ(i2c_sys_get_bbu_gpio(0x21, 3), 0) << "absent expander reads as 0";
}

TEST_F(I2cDevices, BatteryUnitLedAndSwitchesDriveTheExpanderPins) {
    write_file("/etc/model.conf", "[System IO]\nBBU_GPIO = I2C:20\nBBU_GAUGE = I2C:0B\n");
    I2cBusModel &bus = attach_i2c_bus(0);
    bus.attach(0x20, register_chip("/sim/bbu_gpio.regs"));
    bus.attach(0x0B, battery_gauge("/sim/bbu.conf"));
    auto reg = [](int n) { return static_cast<uint8_t>(read_file("/sim/bbu_gpio.regs")[n]); };
    ASSERT_EQ(i2c_sys_set_bbu_gpio(0x20, 3, 0xFF), 0);
    struct Case {
        int colour, enable;
        uint8_t output;
    } cases[] = {{0, 1, 0x02}, {1, 1, 0x01}, {2, 1, 0x00}, {1, 0, 0x03}};
    for (const Case &c : cases) {
        ASSERT_EQ(se_sys_set_bbu_status_led(c.colour, 0, c.enable), 0);
        EXPECT_EQ(reg(1) & 0x03, c.output) << c.colour << c.enable;
        EXPECT_EQ(reg(3) & 0x03, 0) << "LED pins driven";
    }
    EXPECT_EQ(se_sys_set_bbu_status_led(0, 1, 1), -1);
    ASSERT_EQ(se_sys_enable_bbu_charge(1), 0);
    EXPECT_EQ(reg(1) & 0x0C, 0x04);
    ASSERT_EQ(se_sys_enable_bbu_discharge(1), 0);
    EXPECT_EQ(reg(1) & 0x0C, 0x08) << "charging stops before discharging starts";
    ASSERT_EQ(se_sys_enable_bbu_discharge(0), 0);
    EXPECT_EQ(reg(1) & 0x0C, 0x00);
    EXPECT_EQ(reg(3) & 0x0C, 0x00);
    EXPECT_EQ(reg(1) & 0x03, 0x03) << "the LED pins are left alone";
    write_file("/sim/bbu.conf", "status 0x0a\ntemperature 2731\n");
    BBU_STATUS status{};
    EXPECT_EQ(se_sys_get_bbu_status(&status), 0);
    EXPECT_NEAR(status.temperature, 0.0, 1e-9);
}

TEST_F(I2cDevices, DiskLocateLedSendsTheStartOrStopByte) {
    attach_i2c_bus(0).attach(0x61, register_chip("/sim/led.regs"));
    EXPECT_EQ(i2c_set_enclosure_port_led("root", 2, 1), 0);
    EXPECT_EQ(i2c_set_enclosure_port_led("root", 2, 0), 0);
    EXPECT_EQ(read_file("/sim/led.regs.sent"), "a1\na0\n");
    EXPECT_EQ(i2c_set_enclosure_port_led("root", 3, 1), -1) << "a bay without an I2C LED";
    EXPECT_EQ(i2c_set_enclosure_port_led("root_usb", 2, 1), -1);

    // The whole unit's locate LED: p3 (on) or p2 (off), then p5 to p7, raw to the controller at p0.
    attach_i2c_bus(0).attach(0x60, register_chip("/sim/full.regs"));
    write_file("/dev/i2c-0", "");
    // The emulated node keeps the last raw write at its start.
    EXPECT_EQ(i2c_sys_set_enclosure_led("root", 1), 0);
    EXPECT_EQ(read_file("/dev/i2c-0"), std::string("\x02\x04\x05\x06", 4));
    EXPECT_EQ(i2c_sys_set_enclosure_led("root", 0), 0);
    EXPECT_EQ(read_file("/dev/i2c-0"), std::string("\x01\x04\x05\x06", 4));
    EXPECT_NE(log().find("Enclosure Function Work."), std::string::npos);
}
